// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// Integer arithmetic with its overflow spelled out. The codec's results include every wrap, so sums
// and products that may leave their width go through these helpers, which compute on unsigned
// types. Plain operators are used only where the operands are known to fit.
#ifndef KELP_COMMON_WRAPPING_H
#define KELP_COMMON_WRAPPING_H

#include <cstdint>
#include <limits>

namespace kelp {

// Low 32 bits of a 64-bit value, as signed; low 16 bits of a 32-bit one.
constexpr int32_t low32(int64_t x) {
  return static_cast<int32_t>(x);
}
constexpr int16_t low16(int32_t x) {
  return static_cast<int16_t>(x);
}

constexpr int32_t wrap_add(int32_t a, int32_t b) {
  return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
}
constexpr int32_t wrap_sub(int32_t a, int32_t b) {
  return static_cast<int32_t>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b));
}
constexpr int32_t wrap_mul(int32_t a, int32_t b) {
  return static_cast<int32_t>(static_cast<uint32_t>(a) * static_cast<uint32_t>(b));
}
constexpr int32_t wrap_neg(int32_t a) {
  return wrap_sub(0, a);
}
constexpr int32_t wrap_abs(int32_t a) {
  return a < 0 ? wrap_neg(a) : a;
}
// 0 <= n <= 31
constexpr int32_t wrap_shl(int32_t a, int n) {
  return static_cast<int32_t>(static_cast<uint32_t>(a) << n);
}

constexpr int64_t wrap_add64(int64_t a, int64_t b) {
  return static_cast<int64_t>(static_cast<uint64_t>(a) + static_cast<uint64_t>(b));
}
constexpr int64_t wrap_sub64(int64_t a, int64_t b) {
  return static_cast<int64_t>(static_cast<uint64_t>(a) - static_cast<uint64_t>(b));
}
constexpr int64_t wrap_mul64(int64_t a, int64_t b) {
  return static_cast<int64_t>(static_cast<uint64_t>(a) * static_cast<uint64_t>(b));
}

// The exact product of two 32-bit values.
constexpr int64_t product(int32_t a, int32_t b) {
  return int64_t{a} * b;
}

// Magnitude; that of -2^31 is 2^31.
constexpr uint32_t magnitude(int32_t a) {
  return a < 0 ? 0U - static_cast<uint32_t>(a) : static_cast<uint32_t>(a);
}

// Shifts by a computed count, which may leave 0..31: a negative count shifts the other way, 32 and
// more leave 0 (or the sign). Bits that a left shift moves out are lost.
constexpr int32_t shift_right(int32_t x, int n);
constexpr int32_t shift_left(int32_t x, int n) {
  if (n < 0) return shift_right(x, n < -31 ? 32 : -n);
  return n > 31 ? 0 : wrap_shl(x, n);
}
constexpr int32_t shift_right(int32_t x, int n) {
  if (n < 0) return shift_left(x, n < -31 ? 32 : -n);
  return x >> (n > 31 ? 31 : n);
}
constexpr uint32_t shift_right_u(uint32_t x, int n);
constexpr uint32_t shift_left_u(uint32_t x, int n) {
  if (n < 0) return shift_right_u(x, n < -31 ? 32 : -n);
  return n > 31 ? 0 : x << n;
}
constexpr uint32_t shift_right_u(uint32_t x, int n) {
  if (n < 0) return shift_left_u(x, n < -31 ? 32 : -n);
  return n > 31 ? 0 : x >> n;
}

constexpr int32_t saturate32(int64_t x) {
  constexpr int64_t kMax = std::numeric_limits<int32_t>::max();
  constexpr int64_t kMin = std::numeric_limits<int32_t>::min();
  return static_cast<int32_t>(x > kMax ? kMax : x < kMin ? kMin : x);
}
constexpr int16_t saturate16(int32_t x) {
  return static_cast<int16_t>(x > 32767 ? 32767 : x < -32768 ? -32768 : x);
}
constexpr int32_t saturating_add(int32_t a, int32_t b) {
  return saturate32(int64_t{a} + b);
}

// A run counter that holds at its largest value.
constexpr int32_t count_up(int32_t run) {
  return run < std::numeric_limits<int32_t>::max() ? run + 1 : run;
}

}  // namespace kelp

#endif  // KELP_COMMON_WRAPPING_H
