// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// The encoder's analysis window and LSP search grid. Not exported.
#ifndef KELP_TABLES_ANALYSIS_TABLES_H
#define KELP_TABLES_ANALYSIS_TABLES_H

#include <array>
#include <cstdint>

#include "kelp.h"

namespace kelp {

// A Hamming window, Q15, every value even.
extern const std::array<int16_t, KELP_FRAME_SAMPLES> kAnalysisWindow_q15;

// Upper ends of the 200 intervals that are searched for LSPs, 164 .. 32768.
extern const std::array<uint16_t, 200> kLspGrid;

// Row k: the cosine of k + 1 times each frequency of the grid, 0 before the first, Q24; see lspdct.
struct grid_cosines {
  int32_t row[5][201];
};
extern const grid_cosines kLspGridCosines;

}  // namespace kelp

#endif  // KELP_TABLES_ANALYSIS_TABLES_H
