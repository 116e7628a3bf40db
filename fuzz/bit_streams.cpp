// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// The bit readers and the writer against a string of bits.

#include "fuzz/fuzzing.h"

using namespace kelp_fuzz;

namespace {

constexpr uint32_t kExhausted = 0xFFFFFFFF;

// The next `bits` bits at `position`, in either bit order; zeros stand behind the end.
uint32_t bits_at(const packet &bytes, size_t position, int32_t bits, bool little) {
  uint32_t value = 0;
  for (int32_t i = 0; i < bits; i++, position++) {
    const uint32_t byte = position / 8 < bytes.size() ? bytes[position / 8] : 0;
    value |= little ? (byte >> position % 8 & 1) << i
                    : (byte >> (7 - position % 8) & 1) << (bits - 1 - i);
  }
  return value;
}

// Reads up to the end of the buffer and beyond.
void read_bits(input *in, const packet &bytes, bool little) {
  const auto read = little ? kcmn_bsr_le_read : kcmn_bsr_read;
  const size_t end = 8 * bytes.size();
  size_t position = 0;
  kcmn_bsr_state state;
  kcmn_bsr_init(&state, bytes.data(), static_cast<int32_t>(bytes.size()),
                little ? kcmn_bsr_le_flush : nullptr);
  const auto next = [&](int32_t bits) { return bits_at(bytes, position, bits, little); };
  while (position < end) {
    const auto room = static_cast<uint32_t>(std::min<size_t>(32, end - position));
    const auto bits = static_cast<int32_t>(1 + in->below(room));
    const auto wide = static_cast<int32_t>(1 + in->below(32));
    const uint32_t operation = in->done() ? 2 : in->below(little ? 3 : 6);
    size_t taken = static_cast<size_t>(bits);
    uint8_t bit = 9;
    if (operation == 0) {
      (little ? kcmn_bsr_le_skip_to_align8 : kcmn_bsr_skip_to_align8)(&state);
      taken = (8 - position % 8) % 8;
    } else if (operation == 1 && (!little || state.count >= bits)) {
      (little ? kcmn_bsr_le_skip : kcmn_bsr_skip)(&state, bits);
    } else if (operation <= 2) {
      require(read(&state, bits) == next(bits), "read");
    } else if (operation == 3) {
      require(kcmn_bsr_peek(&state, wide) == next(wide), "peek");
      const uint32_t peeked = kcmn_bsr_skip_peek(&state, bits, wide);
      require(peeked == bits_at(bytes, position + taken, wide, little), "skip and peek");
    } else {
      taken = 1;
      require(operation == 4 ? kcmn_bsr_read1(&state) == next(1)
                             : kcmn_bsr_read1_value(&state, &bit) == 0 && bit == next(1),
              "read one");
    }
    position += taken;
  }
  uint8_t untouched = 9;
  require(kcmn_bsr_peek(&state, 5) == 0, "peek past the end");
  require(read(&state, 1 + static_cast<int32_t>(in->below(32))) == kExhausted &&
              kcmn_bsr_read1(&state) == kExhausted,
          "read past the end");
  require(kcmn_bsr_read1_value(&state, &untouched) == -1 && untouched == 9, "and store nothing");
  require(kcmn_bsr_skip_peek(&state, 1, 8) == 0, "skip past the end");
  require(state.cache == 0 && state.count == 0, "the cache is empty at the end");
}

packet completed;
void on_byte(kcmn_bsw_state *state, uint32_t byte) {
  require(*state->cur == byte, "a byte is told before the pointer advances");
  completed.push_back(static_cast<uint8_t>(byte));
}

// Writes until the buffer is full, over what was in it before.
void write_bits(input *in, packet bytes) {
  constexpr size_t kReach = 4;  // a field that starts in the last byte runs on
  const size_t size = bytes.size();
  bytes.resize(size + kReach, 0xEE);
  packet expected(size + kReach + 1);
  completed.clear();
  kcmn_bsw_state state;
  kcmn_bsw_init(&state, bytes.data(), static_cast<int32_t>(size), on_byte);
  size_t written = 0;
  while (written < 8 * size) {
    const auto bits = static_cast<int32_t>(in->below(34)) - 1;  // -1: one bit by write1
    const uint32_t value = in->word() << 16 | in->word();
    require((bits < 0 ? kcmn_bsw_write1(&state, value) : kcmn_bsw_write(&state, value, bits)) == 0,
            "write");
    for (int32_t i = std::abs(bits) - 1; i >= 0; i--, written++) {
      expected[written / 8] = static_cast<uint8_t>(2 * expected[written / 8] + (value >> i & 1));
    }
  }
  // The last field may have spilt; its loose bits stand low in the byte being filled.
  const size_t whole = written / 8;
  if (written % 8 != 0) {
    require((bytes[whole] & ((1 << written % 8) - 1)) == expected[whole], "loose bits");
  }
  for (size_t i = whole + 1; i < bytes.size(); i++) require(bytes[i] == 0xEE, "reach");
  expected.resize(whole);
  require(completed == expected, "completed bytes are told");
  require(std::equal(expected.begin(), expected.end(), bytes.begin()), "bytes written");
  require(kcmn_bsw_write(&state, 1, 0) == -1 && kcmn_bsw_write1(&state, 1) == -1, "full");
  require(state.cur - state.start == static_cast<ptrdiff_t>(whole), "bytes counted");
}

// Counts that no caller should use: nothing is promised of the values, but nothing breaks.
void misuse(input *in, const packet &bytes) {
  constexpr int32_t kCounts[] = {INT32_MIN, -33, -32, -1, 0, 1, 7, 31, 32, 33, 64, INT32_MAX};
  packet copy = bytes;
  copy.resize(bytes.size() + 4);
  kcmn_bsr_state reader;
  kcmn_bsw_state writer;
  const auto size = static_cast<int32_t>(bytes.size());
  kcmn_bsr_init(&reader, bytes.data(), size, in->below(2) != 0 ? kcmn_bsr_le_flush : nullptr);
  kcmn_bsw_init(&writer, copy.data(), size, nullptr);
  for (int i = 0; i < 64 && !in->done(); i++) {
    const int32_t count = kCounts[in->below(std::size(kCounts))];
    switch (in->below(9)) {
      case 0: kcmn_bsr_read(&reader, count); break;
      case 1: kcmn_bsr_le_read(&reader, count); break;
      case 2: kcmn_bsr_peek(&reader, count); break;
      case 3: kcmn_bsr_skip(&reader, count); break;
      case 4: kcmn_bsr_le_skip(&reader, count); break;
      case 5: kcmn_bsr_skip_peek(&reader, count, kCounts[in->below(std::size(kCounts))]); break;
      case 6: reader.refill(&reader, count); break;
      case 7: kcmn_bsr_skip_to_align8(&reader); break;
      default: kcmn_bsw_write(&writer, in->word(), count);
    }
  }
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  input in(data, size);
  const uint32_t what = in.below(4);
  const packet bytes = in.bytes(1 + in.below(40));
  if (what < 2) read_bits(&in, bytes, what == 1);
  if (what == 2) write_bits(&in, bytes);
  if (what == 3) misuse(&in, bytes);
  return 0;
}
