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
// lsp untouched, when the roots are not found: five of the sum polynomial, of which one at 0 does
// not count, in the intervals of kLspGrid, and one of the difference polynomial from each of them
// to the next one. A root is the left end of what is left of its interval after it was halved until
// neither half is wider than 40 units, or where the polynomial is 0 at that end.
bool find_lsps(const encoder_kernels &kernels, const int16_t lpc_q10[kLpcOrder],
               int32_t lsp[kLpcOrder]);

// Sum or difference polynomial, c0 .. c5 in Q10, at a frequency of 0 .. 32768 (half the sampling
// rate). Its sign is what matters.
int32_t lspdct(const int32_t polynomial[6], uint16_t w);

}  // namespace kelp

#endif  // KELP_ENC_ANALYSIS_H
