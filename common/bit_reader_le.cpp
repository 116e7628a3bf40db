// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// The bit-stream reader's second family: least significant bit first, the cache right-aligned.

#include "common/bit_stream.h"
#include "common/wrapping.h"
#include "kelp.h"

using kelp::saturate32;
using kelp::shift_left_u;
using kelp::shift_right_u;

static uint32_t low_bits(uint32_t value, int32_t bits) {
  return bits >= 32 ? value : value & (shift_left_u(1, bits) - 1);
}

// 32 clears both, whatever the count was.
static void consume(kcmn_bsr_state *state, int32_t bits) {
  state->cache = shift_right_u(state->cache, bits);
  state->count = bits == 32 ? 0 : saturate32(int64_t{state->count} - bits);
}

int32_t kcmn_bsr_le_flush(kcmn_bsr_state *state, int32_t bytes) {
  const int32_t count = kelp::loadable_bytes(state, bytes);
  state->cache = 0;
  state->count = 0;
  if (count <= 0) return -1;
  for (int32_t i = 0; i < count; i++) {
    state->cache |= static_cast<uint32_t>(*state->cur++) << (8 * i);
  }
  state->count = 8 * count;
  return 0;
}

uint32_t kcmn_bsr_le_read(kcmn_bsr_state *state, int32_t bits) {
  bits = kelp::word_bits(bits);
  if (state->count >= bits) {
    const uint32_t result = low_bits(state->cache, bits);
    consume(state, bits);
    return result;
  }
  const int32_t old_count = state->count;
  // After a skip beyond the cached bits the count is negative: there is no low part, and the bits
  // still to be skipped are shifted out of the new ones.
  const uint32_t low = old_count > 0 ? low_bits(state->cache, old_count) : 0;
  const int32_t missing = saturate32(int64_t{bits} - old_count);
  if (state->refill(state, 4) != 0) return kelp::kExhausted;
  const uint32_t result = shift_left_u(low_bits(state->cache, missing), old_count) | low;
  consume(state, missing);
  return result;
}

void kcmn_bsr_le_skip(kcmn_bsr_state *state, int32_t bits) {
  consume(state, kelp::word_bits(bits));
}

void kcmn_bsr_le_skip_to_align8(kcmn_bsr_state *state) {
  consume(state, state->count & 7);
}
