// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
#ifndef KELP_DEC_OUTPUT_H
#define KELP_DEC_OUTPUT_H

#include <cstdint>

#include "kelp.h"

namespace kelp {

// First-order all-pole filter: y[k] = x[k] + (c * y[k - 1]) >> 14. The coefficient belongs to the
// caller, who may change it between calls; the memory is renewed when `update` is set. y may be x.
void kelpd_filter_pole_bright(const int32_t *x, int32_t *memory, const int32_t *coefficient_q14,
                              int n, bool update, int32_t *y);

// 160 samples, saturated to 16 bits, through the record's first sample pointer.
void kelpd_recon(const int32_t samples[KELP_FRAME_SAMPLES], kelp_pcm_frame *audio);

}  // namespace kelp

#endif  // KELP_DEC_OUTPUT_H
