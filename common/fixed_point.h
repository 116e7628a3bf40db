// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// Fixed-point primitives, inline for the codec's own loops; fixed_point.cpp exports each under its
// public name. Results outside the stated domains are what the steps give.
#ifndef KELP_COMMON_FIXED_POINT_H
#define KELP_COMMON_FIXED_POINT_H

#include <bit>
#include <cstdint>

#include "common/wrapping.h"

namespace kelp {

// Q31 x Q31 = Q31, neither with its last bit. -2^31 squared wraps.
constexpr int32_t mul_32_32(int32_t a, int32_t b) {
  return low32(product(a >> 1, b >> 1) >> 29);
}

// Q31 x Q15 = Q31, the first without its last bit.
constexpr int32_t mul_32_16(int32_t a, int16_t b) {
  return low32(product(a >> 1, b) >> 14);
}

// Left shifts that normalise x: 0 for 0, 31 for -1.
constexpr int16_t norm_32(int32_t x) {
  if (x == 0) return 0;
  return static_cast<int16_t>(std::countl_zero(static_cast<uint32_t>(x ^ (x >> 31))) - 1);
}
constexpr int16_t norm_16(int16_t x) {
  return norm_32(wrap_shl(x, 16));
}

// num / den in Q31, 0 <= num < den, den normalised: a reciprocal by one Newton step.
constexpr int32_t div_32_32(int32_t num, int32_t den) {
  const int32_t den_high = den >> 16;
  if (den_high == 16383) return 32767;
  if (den_high < 16383) return 0;
  const int16_t approx = saturate16(0x1FFF8000 / den_high);
  const int32_t residue = wrap_sub(0x7FFFFFFF, mul_32_16(den, approx));
  const int32_t inverse = mul_32_16(residue, approx);
  return wrap_shl(mul_32_32(num, inverse), 2);
}

// num / den in Q15, 0 <= num <= den.
constexpr int16_t div_16_16(int16_t num, int16_t den) {
  if (num > den || num < 0 || den < 0) return 0;
  if (num == den) return 32767;
  return saturate16(num * 32768 / den);
}

// Square root in Q15 of a Q31 value in [0.5, 1): the Taylor series about 1, with t = x - 1 and the
// powers of t kept negative, as bits 30 to 15 of each product.
constexpr int16_t squar_rt(int32_t x) {
  const int32_t half = x >> 1;
  const int32_t t = (half - 0x40000000) >> 16;
  const int32_t minus_t2 = wrap_neg(wrap_mul(t, t));
  int32_t acc = wrap_add(half, minus_t2);
  const int32_t t2 = low16(minus_t2 >> 15);
  const int32_t minus_t3 = wrap_neg(wrap_mul(t, t2));
  acc = wrap_add(acc, minus_t3);
  const int32_t t3 = low16(minus_t3 >> 15);
  const int32_t t4 = wrap_add(wrap_mul(wrap_mul(t, t3), 2), 32768) >> 16;
  acc = wrap_add(acc, wrap_mul(t4, -40960));
  const int32_t t5 = wrap_sub(32768, wrap_mul(wrap_mul(t2, t3), 2)) >> 16;
  acc = wrap_add(acc, wrap_mul(t5, 57344));
  acc = wrap_add(acc, 0x40000000);
  const int64_t rounded = int64_t{acc} + 32768;
  return rounded > 0x7FFFFFFF ? int16_t{32767} : static_cast<int16_t>(rounded >> 16);
}

// What the three logarithms share: the exponent and a quadratic in the mantissa.
struct log_parts {
  int32_t exponent;  // normalising shift
  int32_t poly;      // Q29 mantissa polynomial
};
constexpr log_parts log_split(int32_t x) {
  const int32_t exponent = norm_32(x);
  const int32_t f = wrap_shl(x, exponent) >> 16;  // Q15 mantissa
  const int32_t square = wrap_add(wrap_mul(wrap_mul(f, f), 2), 32768) >> 16;
  const int32_t poly = wrap_add(wrap_add(wrap_mul(square, -22100), wrap_mul(f, 65418)), 0xB300000);
  return {exponent, poly};
}

// Base-2 logarithm of x / 2^31 in Q26.
constexpr int32_t log2_q26(int32_t x) {
  const log_parts parts = log_split(x);
  return wrap_shl(-(parts.exponent + 1), 26) | ((parts.poly >> 3) & 0x3FFFFFF);
}

// The same to another base; base_q15 is the logarithm of 2 to that base in Q15.
constexpr int32_t log_to_base_q26(int32_t x, int32_t base_q15) {
  const log_parts parts = log_split(x);
  const int32_t exponent = wrap_mul(parts.exponent * 65536 + 65536, -1024);
  const int32_t high = (((parts.poly >> 3) & 0x3FF0000) | exponent) >> 15;
  const int32_t low = (((parts.poly >> 4) & 0x7FFF) * base_q15) >> 14;
  return wrap_add(wrap_mul(high, base_q15), low);
}
constexpr int32_t log_q26(int32_t x) {
  return log_to_base_q26(x, 22713);
}
constexpr int32_t log10_q26(int32_t x) {
  return log_to_base_q26(x, 9864);
}

// 1 / sqrt(x) in Q30.
int32_t inv_sqrt(int32_t x);

// num / den in Q8 for signed words: 0 unless both are positive, saturating at 2^31 - 1 so that an
// enormous ratio stays the largest one.
constexpr int32_t ratio_q8(int32_t num, int32_t den) {
  if (num <= 0 || den <= 0) return 0;
  const int num_shift = norm_32(num) - 1;  // keeps num below den
  const int den_shift = norm_32(den);
  const int32_t quotient = div_32_32(shift_left(num, num_shift), shift_left(den, den_shift));
  const int to_q8 = 23 - den_shift + num_shift;
  if (to_q8 >= 0) return shift_right(quotient, to_q8);
  return saturate32(int64_t{quotient} << -to_q8);
}

}  // namespace kelp

#endif  // KELP_COMMON_FIXED_POINT_H
