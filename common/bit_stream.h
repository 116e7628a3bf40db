// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// What the bit-stream reader's two families and the writer share.
#ifndef KELP_COMMON_BIT_STREAM_H
#define KELP_COMMON_BIT_STREAM_H

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "kelp.h"

namespace kelp {

// What the reads return past the end of the buffer, whatever number of bits was asked for.
inline constexpr uint32_t kExhausted = 0xFFFFFFFF;

// A caller's number of bits, held to what a word has: others mean nothing but must break nothing.
inline int32_t word_bits(int32_t bits) {
  return std::clamp(bits, 0, 32);
}

// Eight bytes, the first of them highest.
inline uint64_t eight_bytes(const uint8_t *p) {
  uint64_t value = 0;
  std::memcpy(&value, p, sizeof value);
  return std::endian::native == std::endian::little ? __builtin_bswap64(value) : value;
}
inline void store_eight_bytes(uint8_t *p, uint64_t value) {
  if (std::endian::native == std::endian::little) value = __builtin_bswap64(value);
  std::memcpy(p, &value, sizeof value);
}

// Address of the last of `size` bytes. Formed as an integer: for a size below 1 it lies in front of
// the buffer, where no pointer arithmetic may go.
template <typename Byte>
Byte *last_byte(Byte *buffer, int32_t size) {
  return reinterpret_cast<Byte *>(reinterpret_cast<uintptr_t>(buffer) +
                                  static_cast<uintptr_t>(ptrdiff_t{size} - 1));
}

// Bytes from `cur` to the end of the buffer; 0 or less when there are none.
template <typename State>
ptrdiff_t bytes_left(const State *state) {
  return static_cast<ptrdiff_t>(reinterpret_cast<uintptr_t>(state->end) -
                                reinterpret_cast<uintptr_t>(state->cur)) +
         1;
}

// Bytes that a refill of `bytes` can load: no more than the cache holds or the buffer has.
inline int32_t loadable_bytes(const kcmn_bsr_state *state, int32_t bytes) {
  const ptrdiff_t wanted = std::min(bytes, 4);
  return static_cast<int32_t>(std::min(wanted, std::max<ptrdiff_t>(bytes_left(state), 0)));
}

}  // namespace kelp

#endif  // KELP_COMMON_BIT_STREAM_H
