// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// Sines and cosines in Q24, correctly rounded, all from one quarter wave. The codec's bits hang on
// every unit of these tables.

#include <array>
#include <cstddef>
#include <cstdint>

#include "kelp.h"
#include "tables/analysis_tables.h"
#include "tables/series.h"

namespace {

constexpr size_t kQuarter = 8192;  // steps of pi / 16384 in a quarter of the circle

// Entry i is cos(pi i / 16384), i = 0 .. 8192. The series is good to 2^-28 of a unit of Q24; no
// entry comes nearer to a rounding boundary than 2^-16 of one.
consteval std::array<int32_t, kQuarter + 1> make_quarter_wave() {
  std::array<int32_t, kQuarter + 1> table{};
  for (size_t i = 0; i <= kQuarter; i++) {
    const double cosine =
        i <= kQuarter / 2 ? kelp::series_cos(kelp::kPi * static_cast<double>(i) / 16384)
                          : kelp::series_sin(kelp::kPi * static_cast<double>(kQuarter - i) / 16384);
    table[i] = static_cast<int32_t>(cosine * 16777216 + 0.5);
  }
  return table;
}
constexpr auto kQuarterWave = make_quarter_wave();

// cos(pi i / 16384) for 0 <= i <= 16384.
consteval int32_t cosine(size_t i) {
  return i <= kQuarter ? kQuarterWave[i] : -kQuarterWave[2 * kQuarter - i];
}

consteval std::array<int32_t, 16384> make_lsp_cos() {
  std::array<int32_t, 16384> table{};
  for (size_t i = 0; i < table.size(); i++) table[i] = cosine(i);
  return table;
}
// cos(pi (i - 4096) / 8192): a sine from its beginning on, and a cosine from entry 4096 on.
constexpr size_t kCosineStart = 4096;
consteval std::array<int32_t, kCosineStart + 8193> make_wave() {
  std::array<int32_t, kCosineStart + 8193> table{};
  for (size_t i = 0; i < table.size(); i++) {
    table[i] = cosine(2 * (i < kCosineStart ? kCosineStart - i : i - kCosineStart));
  }
  return table;
}

// Multiples of the frequencies that an LSP search begins with. Frequencies count to 32768 for half
// the sampling rate; the table of cosines has a quarter of that resolution.
consteval kelp::grid_cosines make_grid_cosines() {
  kelp::grid_cosines table{};
  for (size_t k = 1; k <= 5; k++) {
    for (size_t i = 0; i <= 200; i++) {
      const size_t u = k * ((32768 * i + 100) / 200);
      const int32_t value = cosine(2 * (u / 4 % 8192));
      table.row[k - 1][i] = u / 32768 % 2 == 0 ? value : -value;
    }
  }
  return table;
}

}  // namespace

constexpr auto kGridCosines = make_grid_cosines();
const kelp::grid_cosines kelp::kLspGridCosines = kGridCosines;

// A computed array cannot initialise a plain one: each is defined under a name of its own, which
// the public table shares, with the alignment of a plain array, which compilers count on.
extern "C" {
alignas(16) extern constexpr auto kelp_lsp_cos_values = make_lsp_cos();
[[gnu::alias("kelp_lsp_cos_values")]] extern const int32_t tbl_lsp_cos[16384];
alignas(16) extern constexpr auto kelp_wave_values = make_wave();
}
// Two of the public tables lie in one, and are shorter: what an alias cannot say, the assembler
// can.
__asm__(
    ".globl tbl_sine_data, tbl_cosine_data\n"
    ".type tbl_sine_data, %object\n"
    ".type tbl_cosine_data, %object\n"
    ".size tbl_sine_data, 4 * 8193\n"
    ".size tbl_cosine_data, 4 * 8193\n"
    ".set tbl_sine_data, kelp_wave_values\n"
    ".set tbl_cosine_data, kelp_wave_values + 4 * 4096\n");

static_assert(kelp_lsp_cos_values[0] == 16777216 && kelp_lsp_cos_values[8192] == 0);
static_assert(kelp_lsp_cos_values[16383] == -16777216);
static_assert(kelp_wave_values[0] == 0 && kelp_wave_values[kCosineStart] == 16777216);
static_assert(kelp_wave_values[8192] == 0 && kelp_wave_values[12288] == -16777216);
