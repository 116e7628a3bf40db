// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "common/lanes_avx512.h"
#include "enc/search_kernels_lanes.h"

namespace kelp {

extern const search_kernels kAvx512Searches;
const search_kernels kAvx512Searches = {correlate_lags, filter_codebook, correlate_codebook,
                                        choose_candidate};

}  // namespace kelp
