// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// The edges of readers and writer. Random use of them is a fuzz target's.

#include "tests/support.h"

using namespace kelp_test;

namespace {

TEST(BitReader, RefillsAndSizes) {
  const packet bytes = {0xA1, 0xB2, 0xC3, 0xD4, 0xE5, 0xF6};
  kcmn_bsr_state state;
  for (const auto refill : {kcmn_bsr_flush, kcmn_bsr_le_flush}) {
    const bool little = refill == kcmn_bsr_le_flush;
    kcmn_bsr_init(&state, bytes.data(), 6, refill);
    EXPECT_EQ(refill(&state, 9), 0);  // held to 4
    EXPECT_TRUE(state.cache == (little ? 0xD4C3B2A1 : 0xA1B2C3D4) && state.count == 32);
    EXPECT_EQ(refill(&state, 4), 0);  // two bytes are left
    EXPECT_TRUE(state.cache == (little ? 0xF6E5 : 0xE5F60000) && state.count == 16);
    state.cur--;
    for (const int32_t count : {0, -1, kMin32}) EXPECT_EQ(refill(&state, count), -1);
    EXPECT_TRUE(state.cache == 0 && state.count == 0);
  }
  // A little-endian skip beyond the cached bits leaves a debt that the next read makes good.
  kcmn_bsr_init(&state, bytes.data(), 6, kcmn_bsr_le_flush);
  kcmn_bsr_le_read(&state, 8);
  kcmn_bsr_le_skip(&state, 24 + 5);
  EXPECT_EQ(state.count, -5);
  EXPECT_EQ(kcmn_bsr_le_read(&state, 7), (0xF6E5u >> 5) & 0x7F);
  kcmn_bsw_state writer;
  // The end is checked at entry: from the last bit of a buffer a write reaches four bytes further.
  packet reach(8, 0xEE);
  kcmn_bsw_init(&writer, reach.data(), 1, nullptr);
  EXPECT_TRUE(kcmn_bsw_write(&writer, 0, 7) == 0 && kcmn_bsw_write(&writer, 0, 32) == 0);
  EXPECT_EQ(reach, (packet{0, 0, 0, 0, 0, 0xEE, 0xEE, 0xEE}));
  for (uint32_t i = 0; i < 32; i++) EXPECT_EQ(kcmn_bsr_clz_in_code(0xFFFFFFFFu >> i), i);
  EXPECT_EQ(kcmn_bsr_clz_in_code(0), 32u);
}

}  // namespace
