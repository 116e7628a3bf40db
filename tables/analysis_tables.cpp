// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "tables/analysis_tables.h"

#include <cstddef>

#include "tables/series.h"

namespace kelp {
namespace {

// 2 * round(16384 * (0.54 - 0.46 cos(2 pi n / 159))), with cos x = 1 - 2 sin^2(x / 2).
consteval auto make_window() {
  std::array<int16_t, KELP_FRAME_SAMPLES> window{};
  for (size_t n = 0; n < window.size() / 2; n++) {
    const double sine = series_sin(kPi * static_cast<double>(n) / 159);
    const double value = 16384 * (0.54 - 0.46 * (1 - 2 * sine * sine));
    window[n] = static_cast<int16_t>(2 * static_cast<int32_t>(value + 0.5));
    window[window.size() - 1 - n] = window[n];
  }
  return window;
}

consteval auto make_grid() {
  std::array<uint16_t, 200> grid{};
  for (size_t i = 0; i < grid.size(); i++) {
    grid[i] = static_cast<uint16_t>((32768 * (i + 1) + 100) / 200);
  }
  return grid;
}

}  // namespace

constexpr auto kWindow = make_window();
static_assert(kWindow[0] == 2622 && kWindow[40] == 17844 && kWindow[79] == 32766);
const std::array<int16_t, KELP_FRAME_SAMPLES> kAnalysisWindow_q15 = kWindow;

constexpr auto kGrid = make_grid();
static_assert(kGrid[0] == 164 && kGrid[199] == 32768);
const std::array<uint16_t, 200> kLspGrid = kGrid;

}  // namespace kelp
