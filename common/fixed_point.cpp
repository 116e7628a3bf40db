// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "common/fixed_point.h"

#include <array>
#include <cstddef>

#include "kelp.h"

namespace kelp {
namespace {

// Integer square root, rounded down, for table generation.
consteval uint64_t floor_sqrt(uint64_t x) {
  uint64_t root = 0;
  for (uint64_t bit = uint64_t{1} << 31; bit != 0; bit >>= 1) {
    if ((root | bit) * (root | bit) <= x) root |= bit;
  }
  return root;
}

// Entry i is round(16384 / sqrt((16 + i) / 64)), at most 32767. 16384 / sqrt(m / 64) is
// sqrt(2^34 / m), and round(y) is floor((floor(2 y) + 1) / 2).
consteval std::array<int16_t, 49> make_inv_sqrt() {
  std::array<int16_t, 49> table{};
  for (uint64_t i = 0; i < table.size(); i++) {
    const uint64_t rounded = (floor_sqrt((uint64_t{1} << 36) / (16 + i)) + 1) / 2;
    table[i] = static_cast<int16_t>(rounded > 32767 ? 32767 : rounded);
  }
  return table;
}
constexpr auto kInvSqrt = make_inv_sqrt();
static_assert(kInvSqrt[0] == 32767 && kInvSqrt[16] == 23170 && kInvSqrt[48] == 16384);

}  // namespace

int32_t inv_sqrt(int32_t x) {
  if (x <= 0) return 0x3FFFFFFF;
  const int norm = norm_32(x);
  int32_t y = wrap_shl(x, norm);
  const int exponent = 30 - norm;
  if (exponent % 2 == 0) y >>= 1;
  const auto i = static_cast<size_t>((y >> 25) - 16);  // 0 .. 47
  const int32_t fraction = (y >> 10) & 0x7FFF;
  const int32_t step = kInvSqrt[i] - kInvSqrt[i + 1];
  const int32_t root = (kInvSqrt[i] << 16) - step * fraction * 2;
  return root >> ((exponent >> 1) + 1);
}

}  // namespace kelp

int32_t kelp_mul_32_32(int32_t a, int32_t b) {
  return kelp::mul_32_32(a, b);
}
int32_t kelp_mul_32_16(int32_t a, int16_t b) {
  return kelp::mul_32_16(a, b);
}
int32_t kelp_div_32_32(int32_t num, int32_t den) {
  return kelp::div_32_32(num, den);
}
int16_t kelp_squar_rt(int32_t x) {
  return kelp::squar_rt(x);
}
int16_t kelp_norm_32(int32_t x) {
  return kelp::norm_32(x);
}
int16_t kelp_norm_16(int16_t x) {
  return kelp::norm_16(x);
}
int16_t kelp_div_16_16(int16_t num, int16_t den) {
  return kelp::div_16_16(num, den);
}
int32_t kelp_log2(int32_t x) {
  return kelp::log2_q26(x);
}
int32_t kelp_log(int32_t x) {
  return kelp::log_q26(x);
}
int32_t kelp_log10(int32_t x) {
  return kelp::log10_q26(x);
}
int32_t kelp_inv_sqrt(int32_t x) {
  return kelp::inv_sqrt(x);
}
