// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
#ifndef KELP_ENC_ANALYSIS_H
#define KELP_ENC_ANALYSIS_H

#include <cstdint>

#include "enc/encoder_state.h"

namespace kelp {

// LPC analysis of samples 60 .. 219 of the speech buffer: autocorrelations, prediction coefficients
// and unquantized LSPs of the frame.
void kelpe_lsp(encoder_frame *frame, const encoder_state &state);

// The ten LSPs of a filter, alternating roots of its sum and its difference polynomial. False, with
// lsp partly written, when the roots are not found.
bool find_lsps(const encoder_kernels &kernels, const int16_t lpc_q10[kLpcOrder],
               int32_t lsp[kLpcOrder]);

// Sum or difference polynomial, c0 .. c5 in Q10, at a frequency of 0 .. 32768 (half the sampling
// rate). Its sign is what matters.
int32_t lspdct(const int32_t polynomial[6], uint16_t w);

// The root between a and b, a < b, as the left end of a bracket of about 41 units; 0 when there is
// no sign change. fa and fb are the polynomial's values there.
uint16_t rsearch(const int32_t polynomial[6], uint16_t a, uint16_t b, int32_t fa, int32_t fb);

}  // namespace kelp

#endif  // KELP_ENC_ANALYSIS_H
