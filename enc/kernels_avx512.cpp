// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "common/lanes_avx512.inc"
#include "enc/codebook_lanes.inc"
#include "enc/pitch_bound_lanes.inc"
#include "enc/pitch_score_lanes.inc"

namespace kelp {

const subframe_kernels kAvx512SubframeKernels = {score_lags, bound_lags, filter_codebook,
                                                 search_codebook, ring};

}  // namespace kelp
