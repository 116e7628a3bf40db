// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// Tables that a program makes: those of formulas, and the trained codebooks.

#include <algorithm>
#include <cmath>

#include "tests/support.h"

using namespace kelp_test;

namespace {

TEST(Tables, Gains) {
  constexpr int32_t kExpected[73] = {
      32768,    32768,    40960,    49152,    49152,    57344,    65536,    73728,     81920,
      90112,    106496,   114688,   131072,   147456,   163840,   188416,   204800,    229376,
      262144,   294912,   327680,   368640,   409600,   466944,   524288,   581632,    655360,
      737280,   827392,   925696,   1040384,  1163264,  1310720,  1466368,  1646592,   1843200,
      2072576,  2326528,  2605056,  2924544,  3284992,  3686400,  4136960,  4636672,   5201920,
      5840896,  6553600,  7356416,  8249344,  9256960,  10387456, 11657216, 13074432,  14671872,
      16465920, 18472960, 20725760, 23257088, 26091520, 29270016, 32841728, 36855808,  41353216,
      46399488, 52060160, 58408960, 65536000, 73531392, 82501632, 92569600, 103866368, 116539392,
      130760704};
  for (int k = 0; k < 73; k++) EXPECT_EQ(kelp_tbl_ga[k], kExpected[k]) << k;
}

TEST(Tables, BandwidthExpansion) {
  constexpr int16_t kExpected[10] = {16192, 16002, 15814, 15628, 15444,
                                     15263, 15084, 14907, 14732, 14559};
  EXPECT_TRUE(std::equal(kExpected, kExpected + 10, tbl_lpc_bw_expand));
}

TEST(Tables, SinesAndCosinesAreCorrectlyRounded) {
  const long double pi = std::acos(-1.0L);
  for (int i = 0; i <= 8192; i++) {
    const auto rounded = [](long double x) { return std::lround(16777216 * x); };
    ASSERT_EQ(tbl_cosine_data[i], rounded(std::cos(pi * i / 8192))) << i;
    ASSERT_EQ(tbl_sine_data[i], rounded(std::sin(pi * i / 8192))) << i;
    for (int k = 2 * i; k < std::min(2 * i + 2, 16384); k++) {
      ASSERT_EQ(tbl_lsp_cos[k], rounded(std::cos(pi * k / 16384))) << k;
    }
  }
}

// The fixed rows (the first four and the last) and the range of every step.
// Indices into these pairs are what packets carry: they never change.
TEST(Tables, LspCodebooksAreFrozen) {
  constexpr int kSize[5] = {64, 128, 128, 64, 64};
  uint64_t hash = 0xCBF29CE484222325;  // FNV-1a
  for (int m = 0; m < 5; m++) {
    for (int j = 0; j < kSize[m]; j++) {
      const kelp_lsp_pair &pair = kelp_tbl_vq_lsp[m][j];
      for (const int32_t step : {pair.first, pair.second})
        hash = (hash ^ u32(step)) * 0x100000001B3;
    }
  }
  EXPECT_EQ(hash, 5978146233290491528U);
  EXPECT_TRUE(kelp_tbl_vq_lsp[0] == kelp_tbl_lspvq0 && kelp_tbl_vq_lsp[1] == kelp_tbl_lspvq1 &&
              kelp_tbl_vq_lsp[2] == kelp_tbl_lspvq2 && kelp_tbl_vq_lsp[3] == kelp_tbl_lspvq3 &&
              kelp_tbl_vq_lsp[4] == kelp_tbl_lspvq4);
}

}  // namespace
