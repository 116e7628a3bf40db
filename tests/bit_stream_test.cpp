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

// `bits` bits from `position` on as a family reads them, zeros behind the end.
uint32_t expected_bits(const packet &bytes, bool little_endian, size_t position, int32_t bits) {
  uint32_t value = 0;
  for (int32_t i = 0; i < bits; i++, position++) {
    const uint32_t byte = position / 8 < bytes.size() ? bytes[position / 8] : 0;
    const uint32_t bit = byte >> (little_endian ? position % 8 : 7 - position % 8) & 1;
    value |= bit << (little_endian ? i : bits - 1 - i);
  }
  return value;
}

int32_t refill_one_byte(kcmn_bsr_state *state, int32_t) {
  return kcmn_bsr_flush(state, 1);
}

// Random operations up to the end of the buffer, then exhaustion by every read. A refill of one
// byte serves reads of up to 8 bits.
void read_randomly(kcmn_bsr_refill refill, uint32_t max_bits) {
  const bool little = refill == kcmn_bsr_le_flush;
  random_numbers random(max_bits);
  for (int run = 0; run < 2000; run++) {
    const packet bytes = random_bytes(&random, 1 + random.below(40));
    kcmn_bsr_state state;
    kcmn_bsr_init(&state, bytes.data(), static_cast<int32_t>(bytes.size()), refill);
    const size_t end = 8 * bytes.size();
    for (size_t position = 0; position < end;) {
      const auto room = static_cast<uint32_t>(std::min<size_t>(max_bits, end - position));
      const auto bits = static_cast<int32_t>(1 + random.below(room));
      const auto wide = static_cast<int32_t>(1 + random.below(max_bits));
      const auto next = [&](int32_t count) {
        return expected_bits(bytes, little, position, count);
      };
      size_t used = static_cast<size_t>(bits);
      const uint32_t operation = random.below(little ? 3 : 7);
      if (operation == 0) {
        little ? kcmn_bsr_le_skip_to_align8(&state) : kcmn_bsr_skip_to_align8(&state);
        used = (8 - position % 8) % 8;
      } else if (operation == 1 && !little) {
        kcmn_bsr_skip(&state, bits);
      } else if (operation == 1 && state.count >= bits) {
        kcmn_bsr_le_skip(&state, bits);
      } else if (operation <= 2) {
        ASSERT_EQ((little ? kcmn_bsr_le_read : kcmn_bsr_read)(&state, bits), next(bits));
      } else if (operation == 3) {
        ASSERT_EQ(kcmn_bsr_peek(&state, wide), next(wide));
        used = 0;
      } else if (operation == 4) {
        const uint32_t peeked = kcmn_bsr_skip_peek(&state, bits, wide);
        position += used;
        ASSERT_EQ(peeked, next(wide));
        used = 0;
      } else if (operation == 5) {
        ASSERT_EQ(kcmn_bsr_read1(&state), next(1));
        used = 1;
      } else {
        uint8_t bit = 9;
        ASSERT_EQ(kcmn_bsr_read1_value(&state, &bit), 0);
        ASSERT_EQ(bit, next(1));
        used = 1;
      }
      position += used;
    }
    uint8_t untouched = 9;
    ASSERT_EQ(kcmn_bsr_peek(&state, 5), 0u);
    ASSERT_EQ((little ? kcmn_bsr_le_read : kcmn_bsr_read)(&state, 1 + run % 32), kExhausted);
    ASSERT_EQ(kcmn_bsr_read1(&state), kExhausted);
    ASSERT_TRUE(kcmn_bsr_read1_value(&state, &untouched) == -1 && untouched == 9);
    ASSERT_EQ(kcmn_bsr_skip_peek(&state, 1, 8), 0u);
    ASSERT_TRUE(state.cache == 0 && state.count == 0);
  }
}

TEST(BitReader, RandomOperations) {
  read_randomly(nullptr, 32);
  read_randomly(refill_one_byte, 8);
  read_randomly(kcmn_bsr_le_flush, 32);
}

// A little-endian skip beyond the cached bits leaves a negative count; the next read makes it good.
TEST(BitReader, SkipWithoutRefill) {
  const packet bytes = {0x12, 0x34, 0x56, 0x78, 0x9A, 0xBC, 0xDE, 0xF0};
  kcmn_bsr_state state;
  kcmn_bsr_init(&state, bytes.data(), 8, kcmn_bsr_le_flush);
  kcmn_bsr_le_read(&state, 8);
  kcmn_bsr_le_skip(&state, 24 + 5);
  EXPECT_EQ(state.count, -5);
  EXPECT_EQ(kcmn_bsr_le_read(&state, 7), expected_bits(bytes, true, 37, 7));
  kcmn_bsr_le_skip(&state, 32);
  EXPECT_TRUE(state.cache == 0 && state.count == 0);
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
  for (const int32_t size : {0, -1, kMin32}) {
    kcmn_bsr_init(&state, bytes.data(), size, nullptr);
    EXPECT_EQ(kcmn_bsr_read(&state, 8), kExhausted);
  }
  for (uint32_t i = 0; i < 32; i++) {
    EXPECT_EQ(kcmn_bsr_clz_in_code(0x80000000u >> i), i);
    EXPECT_EQ(kcmn_bsr_clz_in_code(0xFFFFFFFFu >> i), i);
  }
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
    completed.clear();
    kcmn_bsw_state state;
    kcmn_bsw_init(&state, bytes.data(), 36, on_byte);
    packet expected(40);
    size_t written = 0;
    while (written < 8 * 36) {
      const uint32_t value = random.next();
      const auto bits = static_cast<int32_t>(random.below(34)) - 1;  // -1: one bit by write1
      ASSERT_EQ(bits < 0 ? kcmn_bsw_write1(&state, value) : kcmn_bsw_write(&state, value, bits), 0);
      for (int32_t i = std::abs(bits) - 1; i >= 0; i--, written++) {
        expected[written / 8] = static_cast<uint8_t>(2 * expected[written / 8] + (value >> i & 1));
      }
    }
    // The last field may have spilt; its loose bits stand low in the byte being filled.
    const auto whole = static_cast<ptrdiff_t>(written / 8);
    ASSERT_EQ(state.cur - state.start, whole);
    ASSERT_TRUE(std::equal(expected.begin(), expected.begin() + whole, bytes.begin()));
    ASSERT_EQ(completed, packet(expected.begin(), expected.begin() + whole));
    ASSERT_EQ(bytes[written / 8] & ((1 << written % 8) - 1), expected[written / 8]);
    const packet before = bytes;
    for (const int32_t bits : {0, 1, 32}) ASSERT_EQ(kcmn_bsw_write(&state, 1, bits), -1);
    ASSERT_EQ(kcmn_bsw_write1(&state, 1), -1);
    ASSERT_EQ(bytes, before);
  }
}

TEST(BitWriter, SpillsFromTheLastByte) {
  packet bytes(7, 0xEE);
  kcmn_bsw_state state;
  kcmn_bsw_init(&state, bytes.data(), 1, nullptr);
  kcmn_bsw_write(&state, 5, 3);
  kcmn_bsw_write(&state, 0, 4);
  EXPECT_EQ(kcmn_bsw_write(&state, 0xCAFEBABE, 32), 0);
  EXPECT_EQ(bytes, (packet{0xA1, 0x95, 0xFD, 0x75, 0x3E, 0xEE, 0xEE}));
  for (const int32_t size : {0, -1, kMin32}) {
    kcmn_bsw_init(&state, bytes.data(), size, nullptr);
    EXPECT_TRUE(kcmn_bsw_write1(&state, 1) == -1 && kcmn_bsw_write(&state, 1, 1) == -1);
  }
}

}  // namespace
