// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "common/lanes_neon.h"
#include "enc/search_kernels_lanes.h"

namespace kelp {

extern const search_kernels kNeonSearches;
const search_kernels kNeonSearches = {correlate_lags, filter_codebook, correlate_codebook,
                                      choose_candidate};

}  // namespace kelp
