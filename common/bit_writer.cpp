// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "common/bit_stream.h"
#include "common/wrapping.h"
#include "kelp.h"

void kcmn_bsw_init(kcmn_bsw_state *state, uint8_t *buffer, int32_t size, kcmn_bsw_on_byte on_byte) {
  state->cur = buffer;
  state->room = 8;
  state->end = kelp::last_byte(buffer, size);
  state->start = buffer;
  state->size = size;
  state->on_byte = on_byte;
}

// Shifts `bits` (at most the room left) new bits into the current byte. Old content leaves at the
// top, so a byte needs no clearing before it is filled.
static void append(kcmn_bsw_state *state, uint32_t value, int32_t bits) {
  *state->cur = static_cast<uint8_t>((static_cast<uint32_t>(*state->cur) << bits) | value);
  state->room -= bits;
  if (state->room == 0) {
    if (state->on_byte != nullptr) state->on_byte(state, *state->cur);
    state->room = 8;
    state->cur++;
  }
}

int32_t kcmn_bsw_write1(kcmn_bsw_state *state, uint32_t bit) {
  if (kelp::bytes_left(state) <= 0) return -1;
  append(state, bit & 1, 1);
  return 0;
}

int32_t kcmn_bsw_write(kcmn_bsw_state *state, uint32_t value, int32_t bits) {
  // The end is checked once: a field that starts in the last byte runs on into what lies behind.
  if (kelp::bytes_left(state) <= 0) return -1;
  bits = kelp::word_bits(bits);
  uint32_t left_aligned = kelp::shift_left_u(value, 32 - bits);
  while (bits >= 1) {
    const int32_t count = std::min(bits, state->room);
    // Room is never 0, so count is not either.
    // cppcheck-suppress shiftTooManyBits
    append(state, left_aligned >> (32 - count), count);
    bits -= count;
    left_aligned <<= count;
  }
  return 0;
}
