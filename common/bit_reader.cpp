// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// The bit-stream reader's main family: most significant bit first, the cache left-aligned.

#include <bit>

#include "common/bit_stream.h"
#include "common/wrapping.h"
#include "kelp.h"

using kelp::shift_left_u;
using kelp::shift_right_u;

void kcmn_bsr_init(kcmn_bsr_state *state, const uint8_t *buffer, int32_t size,
                   kcmn_bsr_refill refill) {
  state->cache = 0;
  state->count = 0;
  state->cur = buffer;
  state->end = kelp::last_byte(buffer, size);
  state->start = buffer;
  state->size = size;
  state->refill = refill != nullptr ? refill : kcmn_bsr_flush;
}

int32_t kcmn_bsr_flush(kcmn_bsr_state *state, int32_t bytes) {
  const int32_t count = kelp::loadable_bytes(state, bytes);
  state->cache = 0;
  state->count = 0;
  if (count <= 0) return -1;
  for (int32_t i = 0; i < count; i++) {
    state->cache |= static_cast<uint32_t>(*state->cur++) << (24 - 8 * i);
  }
  state->count = 8 * count;
  return 0;
}

static void consume(kcmn_bsr_state *state, int32_t bits) {
  state->cache = shift_left_u(state->cache, bits);
  state->count -= bits;
}

uint32_t kcmn_bsr_read(kcmn_bsr_state *state, int32_t bits) {
  bits = kelp::word_bits(bits);
  if (state->count >= bits) {
    const uint32_t result = shift_right_u(state->cache, 32 - bits);
    consume(state, bits);
    return result;
  }
  const uint32_t old_cache = state->cache;
  const int32_t missing = bits - state->count;
  if (state->refill(state, 4) != 0) return kelp::kExhausted;
  // The old bits already stand at the top of the result, zeros below them.
  const uint32_t result =
      shift_right_u(old_cache, 32 - bits) | shift_right_u(state->cache, 32 - missing);
  consume(state, missing);
  return result;
}

uint32_t kcmn_bsr_read1(kcmn_bsr_state *state) {
  if (state->count == 0 && state->refill(state, 4) != 0) return kelp::kExhausted;
  const uint32_t bit = state->cache >> 31;
  consume(state, 1);
  return bit;
}

int32_t kcmn_bsr_read1_value(kcmn_bsr_state *state, uint8_t *value) {
  const uint32_t bit = kcmn_bsr_read1(state);
  if (bit == kelp::kExhausted) return -1;
  *value = static_cast<uint8_t>(bit);
  return 0;
}

uint32_t kcmn_bsr_peek(kcmn_bsr_state *state, int32_t bits) {
  bits = kelp::word_bits(bits);
  if (state->count < bits) {
    const int32_t whole_bytes = (32 - state->count) >> 3;
    if (whole_bytes != 0) {
      const uint32_t old_cache = state->cache;
      const int32_t old_count = state->count;
      const bool loaded = state->refill(state, whole_bytes) == 0;
      // Only what the refill really loaded counts: a peek never invents valid bits.
      const uint32_t added = loaded ? shift_right_u(state->cache, old_count) : 0;
      const int32_t added_bits = loaded ? state->count & ~7 : 0;
      state->cache = old_cache | added;
      state->count = old_count + added_bits;
    }
  }
  uint32_t result = shift_right_u(state->cache, 32 - bits);
  // The cache may hold whole bytes only; the last few bits come from the byte behind it.
  if (bits - state->count >= 1 && kelp::bytes_left(state) > 0) {
    result |= shift_right_u(*state->cur, state->count - bits + 8);
  }
  return result;
}

// False when the refill fails, which ends the skip.
static bool skip(kcmn_bsr_state *state, int32_t bits) {
  bits = kelp::word_bits(bits);
  int32_t remaining = bits;
  if (state->count < bits) {
    remaining -= state->count;
    if (state->refill(state, 4) != 0) return false;
  }
  if (remaining == 32) {
    state->cache = 0;
    state->count = 0;
  } else {
    consume(state, remaining);
  }
  return true;
}

void kcmn_bsr_skip(kcmn_bsr_state *state, int32_t bits) {
  skip(state, bits);
}

uint32_t kcmn_bsr_skip_peek(kcmn_bsr_state *state, int32_t skip_bits, int32_t peek_bits) {
  return skip(state, skip_bits) ? kcmn_bsr_peek(state, peek_bits) : 0;
}

void kcmn_bsr_skip_to_align8(kcmn_bsr_state *state) {
  consume(state, state->count & 7);
}

uint32_t kcmn_bsr_clz_in_code(uint32_t value) {
  return static_cast<uint32_t>(std::countl_zero(value));
}
