// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "common/lanes_avx2.inc"
#include "enc/analysis_lanes.inc"
#include "enc/codebook_lanes.inc"
#include "enc/frame_lanes.inc"
#include "enc/pitch_bound_lanes.inc"
#include "enc/pitch_score_lanes.inc"

namespace kelp {

const subframe_kernels kAvx2SubframeKernels = {score_lags, bound_lags, filter_codebook,
                                               search_codebook, ring};
const frame_kernels kAvx2FrameKernels = {autocorrelate,     evaluate_grid,       decimate,
                                         correlate_periods, correlate_columns,   search_split,
                                         pick_lags,         search_long_codebook};

}  // namespace kelp
