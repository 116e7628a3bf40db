// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "common/lanes_neon.inc"
#include "enc/analysis_lanes.inc"
#include "enc/search_lanes.inc"

namespace kelp {

extern const encoder_kernels kNeonKernels;
const encoder_kernels kNeonKernels = {
    correlate_lags, bound_lags,    search_split, filter_codebook,   correlate_codebook,
    autocorrelate,  evaluate_grid, decimate,     correlate_periods, choose_candidate};

}  // namespace kelp
