// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// Half-sample interpolators, Q14.

#include "kelp.h"

// A Hamming-windowed sinc at the half-sample points, and the same one position later.
const int16_t kelp_tbl_hammsinc[8] = {-111, 675, -2350, 9647, 9647, -2350, 675, -111};
const int16_t kelp_tbl_hammsinc_m[8] = {87, -111, 675, -2350, 9647, 9647, -2350, 675};

const int16_t tbl_small_sinc[8] = {2904, -8, 7049, 139, 7049, 139, 2904, -8};
