// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// Gains and subframe counts.

#include <array>
#include <cstdint>

#include "kelp.h"

namespace {

// Entry k is 8192 * round(8 * 10^((k - 6) / 20)): the gain of k - 6 dB in Q16, in steps of 1/8. No
// entry lies near a rounding boundary, so double precision decides each one safely.
consteval std::array<int32_t, 73> make_gains() {
  constexpr double kDecibel = 1.1220184543019634355910;  // 10^(1 / 20)
  std::array<int32_t, 73> table{};
  double gain = 8.0 / (kDecibel * kDecibel * kDecibel * kDecibel * kDecibel * kDecibel);
  for (int32_t &entry : table) {
    entry = 8192 * static_cast<int32_t>(gain + 0.5);
    gain *= kDecibel;
  }
  return table;
}

}  // namespace

// A computed array cannot initialise a plain one: it is defined under a name of its own, which the
// public table shares. It needs a plain array's alignment too: compilers count on 16 bytes.
extern "C" {
alignas(16) extern constexpr std::array<int32_t, 73> kelp_gain_values = make_gains();
[[gnu::alias("kelp_gain_values")]] extern const int32_t kelp_tbl_ga[73];
}
static_assert(kelp_gain_values[0] == 32768 && kelp_gain_values[6] == 65536);
static_assert(kelp_gain_values[26] == 655360 && kelp_gain_values[72] == 130760704);

const int32_t tbl_ga_8th_offset[4] = {-4, -2, 0, 2};

const int32_t kelp_tbl_cb_sf[5] = {2, 1, 5, 4, 16};
const int32_t kelp_tbl_pitch_sf[5] = {2, 1, 4, 4, 4};

const int16_t gain_tabl1[8] = {7, 6, 5, 4, 3, 2, 1, 0};
const int16_t gain_tabl2[8] = {1, 2, 3, 4, 5, 6, 7, 8};
