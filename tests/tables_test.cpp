// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// What is part of the format and never changes: the tables, and every bit computed with them.

#include <algorithm>
#include <cmath>

#include "tests/checksums.h"
#include "tests/support.h"

using namespace kelp_test;

namespace {

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

// Packets carry indices into these, and hosts read them: they never change. Nor does any other bit.
// A checksum that differs here is a mistake, or a new major version.
TEST(Tables, AreFrozen) {
  EXPECT_EQ(exported_tables(), 0xaeabcd70a3b5ab1c);
  EXPECT_TRUE(kelp_tbl_vq_lsp[0] == kelp_tbl_lspvq0 && kelp_tbl_vq_lsp[1] == kelp_tbl_lspvq1 &&
              kelp_tbl_vq_lsp[2] == kelp_tbl_lspvq2 && kelp_tbl_vq_lsp[3] == kelp_tbl_lspvq3 &&
              kelp_tbl_vq_lsp[4] == kelp_tbl_lspvq4);
}

TEST(Bits, AreFrozen) {
  EXPECT_EQ(arithmetic(100000), 0x0197c54f21916cf1);
  EXPECT_EQ(decode_broken_packets(10000), 0x85c555890d8b0c36);
  const auto [packets, decoded] = code_speech(synthetic_speech(1500));
  EXPECT_EQ(packets, 0x44fd3fbfa6c5d368u);
  EXPECT_EQ(decoded, 0xe6b68148b4f670a5u);
}

}  // namespace
