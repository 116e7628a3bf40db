// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// Reader and writer against a string of bits.

#include "tests/support.h"

using namespace kelp_test;

namespace {

constexpr uint32_t kExhausted = 0xFFFFFFFF;

packet random_bytes(random_numbers *random, size_t size) {
  packet bytes(size);
  for (uint8_t &byte : bytes) byte = static_cast<uint8_t>(random->next());
  return bytes;
}

// Random operations up to the end of the buffer and beyond.
void read_randomly(kcmn_bsr_refill refill) {
  const bool little = refill == kcmn_bsr_le_flush;
  const auto read = little ? kcmn_bsr_le_read : kcmn_bsr_read;
  random_numbers random(2);
  for (int run = 0; run < 2000; run++) {
    const packet bytes = random_bytes(&random, 1 + random.below(40));
    const size_t end = 8 * bytes.size();
    size_t position = 0;
    const auto next = [&](int32_t bits) {  // zeros stand behind the end
      uint32_t value = 0;
      for (size_t i = 0, at = position; i < static_cast<size_t>(bits); i++, at++) {
        const uint32_t byte = at < end ? bytes[at / 8] : 0;
        value |= little ? (byte >> at % 8 & 1) << i
                        : (byte >> (7 - at % 8) & 1) << (static_cast<size_t>(bits) - 1 - i);
      }
      return value;
    };
    kcmn_bsr_state state;
    kcmn_bsr_init(&state, bytes.data(), static_cast<int32_t>(bytes.size()), refill);
    while (position < end) {
      const auto room = static_cast<int32_t>(std::min<size_t>(32, end - position));
      const int32_t bits = random.between(1, room), wide = random.between(1, 32);
      uint8_t bit = 9;
      const uint32_t operation = random.below(little ? 3 : 6);
      if (operation == 0) {
        (little ? kcmn_bsr_le_skip_to_align8 : kcmn_bsr_skip_to_align8)(&state);
        position = (position + 7) & ~size_t{7};
      } else if (operation == 1 && (!little || state.count >= bits)) {
        (little ? kcmn_bsr_le_skip : kcmn_bsr_skip)(&state, bits);
        position += static_cast<size_t>(bits);
      } else if (operation <= 2) {
        ASSERT_EQ(read(&state, bits), next(bits));
        position += static_cast<size_t>(bits);
      } else if (operation == 3) {
        ASSERT_EQ(kcmn_bsr_peek(&state, wide), next(wide));
        const uint32_t peeked = kcmn_bsr_skip_peek(&state, bits, wide);
        position += static_cast<size_t>(bits);
        ASSERT_EQ(peeked, next(wide));
      } else {
        const uint32_t expected = next(1);
        ASSERT_TRUE(operation == 4 ? kcmn_bsr_read1(&state) == expected
                                   : kcmn_bsr_read1_value(&state, &bit) == 0 && bit == expected);
        position++;
      }
    }
    uint8_t untouched = 9;
    ASSERT_EQ(kcmn_bsr_peek(&state, 5), 0u);
    ASSERT_TRUE(read(&state, 1 + run % 32) == kExhausted && kcmn_bsr_read1(&state) == kExhausted);
    ASSERT_TRUE(kcmn_bsr_read1_value(&state, &untouched) == -1 && untouched == 9);
    ASSERT_EQ(kcmn_bsr_skip_peek(&state, 1, 8), 0u);
    ASSERT_TRUE(state.cache == 0 && state.count == 0);
  }
}

TEST(BitReader, RandomOperations) {
  read_randomly(nullptr);
  read_randomly(kcmn_bsr_le_flush);
}

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
  kcmn_bsr_init(&state, bytes.data(), kMin32, nullptr);
  EXPECT_EQ(kcmn_bsr_read(&state, 8), kExhausted);
  for (uint32_t i = 0; i < 32; i++) EXPECT_EQ(kcmn_bsr_clz_in_code(0xFFFFFFFFu >> i), i);
  EXPECT_EQ(kcmn_bsr_clz_in_code(0), 32u);
}

packet completed;
void on_byte(kcmn_bsw_state *state, uint32_t byte) {
  EXPECT_EQ(*state->cur, byte);  // the pointer has not advanced yet
  completed.push_back(static_cast<uint8_t>(byte));
}

TEST(BitWriter, RandomFields) {
  random_numbers random(4);
  for (int run = 0; run < 2000; run++) {
    packet bytes = random_bytes(&random, 40);  // what was there before must not matter
    packet expected(40);
    completed.clear();
    kcmn_bsw_state state;
    kcmn_bsw_init(&state, bytes.data(), 36, on_byte);
    size_t written = 0;
    while (written < 8 * 36) {
      const uint32_t value = random.next();
      const int32_t bits = random.between(-1, 32);  // -1: one bit by write1
      ASSERT_EQ(bits < 0 ? kcmn_bsw_write1(&state, value) : kcmn_bsw_write(&state, value, bits), 0);
      for (int32_t i = std::abs(bits) - 1; i >= 0; i--, written++) {
        expected[written / 8] = static_cast<uint8_t>(2 * expected[written / 8] + (value >> i & 1));
      }
    }
    // The last field may have spilt; its loose bits stand low in the byte being filled.
    const size_t whole = written / 8;
    ASSERT_EQ(bytes[whole] & ((1 << written % 8) - 1), expected[whole]);
    expected.resize(whole);
    ASSERT_EQ(completed, expected);
    ASSERT_TRUE(std::equal(expected.begin(), expected.end(), bytes.begin()));
    ASSERT_TRUE(kcmn_bsw_write(&state, 1, 0) == -1 && kcmn_bsw_write1(&state, 1) == -1);
    ASSERT_EQ(state.cur - state.start, static_cast<ptrdiff_t>(whole));
    kcmn_bsw_init(&state, bytes.data(), -run, nullptr);
    ASSERT_EQ(kcmn_bsw_write1(&state, 1), -1);
  }
}

}  // namespace
