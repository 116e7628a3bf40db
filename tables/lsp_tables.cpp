// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// LSP means and interpolation, bandwidth expansion.

#include <array>
#include <cstdint>

#include "kelp.h"

namespace {

// 0.98828125^(k + 1) in Q14, each power truncated.
consteval std::array<int16_t, 10> make_bandwidth_expansion() {
  std::array<int16_t, 10> table{};
  int32_t power = 1 << 14;
  for (int16_t &entry : table) {
    power = (power * 16192) >> 14;
    entry = static_cast<int16_t>(power);
  }
  return table;
}

}  // namespace

// (i + 1) / 22 of the sampling rate in Q21, within one unit; these values are the definition.
const int32_t tbl_bias[10] = {95325,  190650, 285975, 381300, 476625,
                              571950, 667276, 762601, 857926, 953250};

// Evenly spaced, but for the fifth, which stands 90 above the line: the encoder measures its
// eighth-rate predictions from here, and its packets depend on it.
const int32_t tbl_idx_lpcorder[10] = {2979,  5958,  8937,  11915, 14984,
                                      17873, 20852, 23831, 26810, 29789};

// Weight of the new LSPs per subframe; a 0 ends the row. Quarter rate repeats its first weight.
const int16_t tbl_lsp_interp[5][4] = {
    {3, 7, 0, 0}, {5, 0, 0, 0}, {2, 2, 6, 8}, {2, 4, 6, 8}, {2, 4, 6, 8}};

// As in gain_tables.cpp: a computed array under the public name, aligned as a plain one.
extern "C" {
alignas(16) extern constexpr auto kelp_bandwidth_values = make_bandwidth_expansion();
[[gnu::alias("kelp_bandwidth_values")]] extern const int16_t tbl_lpc_bw_expand[10];
}
static_assert(kelp_bandwidth_values[0] == 16192 && kelp_bandwidth_values[9] == 14559);
