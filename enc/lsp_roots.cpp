// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// Line spectral pairs by a grid search for sign changes.

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <cstring>
#include <iterator>

#include "common/wrapping.h"
#include "enc/analysis.h"
#include "tables/analysis_tables.h"

namespace kelp {
namespace {

constexpr int32_t kHalfRate = 32768;  // half the sampling rate

// cos(pi u / 32768) in Q24 without interpolation, from u * 2^48. It is even, and u counts modulo
// 65536.
int64_t grid_cosine(uint64_t u_q48) {
  return tbl_cosine_data[std::abs(static_cast<int64_t>(u_q48) >> 50)];
}

// As lspdct, of c1 .. c5; the frequency is 32768 at most.
inline int32_t evaluate(const int64_t polynomial[6], int32_t w) {
  const uint64_t w_q48 = static_cast<uint64_t>(w) << 48;
  int64_t sum = polynomial[5] * (1 << 23) + 0x40000 + 1024 * grid_cosine(5 * w_q48);
  for (uint64_t i = 1; i <= 3; i++) sum += polynomial[i] * grid_cosine((5 - i) * w_q48);
  return low32((sum + polynomial[4] * tbl_cosine_data[w >> 2]) >> 19);
}

// c0 .. c5 of the sum and difference polynomials in Q10, their trivial roots divided out.
void make_polynomials(const int16_t *a, int32_t p[6], int32_t q[6]) {
  p[0] = q[0] = 1024;
  p[1] = -1024 - a[0] - a[9];
  q[1] = 1024 + a[9] - a[0];
  for (int i = 2; i <= 5; i++) {
    p[i] = -(p[i - 1] + a[i - 1] + a[10 - i]);
    q[i] = q[i - 1] + a[10 - i] - a[i - 1];
  }
}

constexpr int kPairs = kLpcOrder / 2;  // roots of either polynomial
constexpr int kBrackets = kPairs + 1;  // the lowest may hold a root at 0, which does not count
constexpr int32_t kNarrow = 81;        // as wide as a bracket may stay

// Intervals with a root of a polynomial each, which is found where the width is 0. Signs are -1
// where the polynomial is below 0 at the left end.
struct brackets {
  int32_t left[kBrackets], width[kBrackets], sign[kBrackets];
  int count;
};

// Finds the roots: halves brackets that are wider than kNarrow until none is. They take turns, and
// masks decide, not branches: so their evaluations overlap, and nothing foretells on which side a
// root lies.
void rsearch(const int32_t polynomial[6], brackets *all) {
  int64_t terms[6];
  std::copy_n(polynomial, 6, terms);
  int32_t widest = *std::max_element(all->width, all->width + all->count);
  for (; widest > kNarrow; widest = (widest + 1) / 2) {
    for (int m = 0; m < all->count; m++) {
      const int32_t width = all->width[m];
      const int32_t half = (width >> 1) & ((kNarrow - width) >> 31);  // 0 where it is narrow
      const int32_t sign = all->sign[m];
      const int32_t value = (evaluate(terms, all->left[m] + half) ^ sign) - sign;
      const int32_t is_lower = value >> 31;  // the root
      const int32_t is_upper = -value >> 31;
      all->left[m] += half & ~is_lower;
      all->width[m] = (half & is_lower) | ((width - half) & is_upper);
    }
  }
}

// Eight bytes, the first of them lowest.
uint64_t eight_flags(const uint8_t *p) {
  uint64_t value = 0;
  std::memcpy(&value, p, sizeof value);
  return std::endian::native == std::endian::little ? value : __builtin_bswap64(value);
}

constexpr int kBlock = 8;
constexpr int kPaddedGrid = 208;  // intervals in whole vectors
static_assert((kGridPoints - 1) % kBlock == 0 && kGridPoints <= kPaddedGrid);

// The intervals of the grid that P crosses zero in, the left end included and the right one not.
// False when there are too many.
bool cross_zero(const int32_t values[kPaddedGrid + 1], brackets *all) {
  uint8_t crosses[kPaddedGrid];
  for (int i = 0; i < kPaddedGrid; i++) {
    crosses[i] = ((values[i] ^ values[i + 1]) < 0 || values[i] == 0) ? 1 : 0;
  }
  // Blocks with a crossing first: most of those have one.
  int blocks[(kGridPoints - 1) / kBlock];
  int crossed = 0;
  for (int first = 0; first < kGridPoints - 1; first += kBlock) {
    blocks[crossed] = first;
    crossed += eight_flags(crosses + first) != 0 ? 1 : 0;
  }
  int count = 0;
  for (int block = 0; block < crossed; block++) {
    uint64_t flags = eight_flags(crosses + blocks[block]);
    for (; flags != 0; flags &= flags - 1) {
      const int i = blocks[block] + std::countr_zero(flags) / 8;
      if (values[i] != 0 && values[i + 1] == 0) continue;
      if (count == kBrackets) return false;
      const auto at = static_cast<size_t>(i);
      const int32_t left = at == 0 ? 0 : kLspGrid[at - 1];
      all->left[count] = left;
      all->width[count] = values[i] == 0 ? 0 : kLspGrid[at] - left;
      all->sign[count++] = values[i] >> 31;
    }
  }
  all->count = count;
  return true;
}

}  // namespace

int32_t lspdct(const int32_t polynomial[6], uint16_t w) {
  int64_t wide[6];
  std::copy_n(polynomial, 6, wide);
  return evaluate(wide, w);
}

bool find_lsps(const encoder_kernels &kernels, const int16_t lpc_q10[kLpcOrder],
               int32_t lsp[kLpcOrder]) {
  int32_t p[6];
  int32_t q[6];
  make_polynomials(lpc_q10, p, q);

  int32_t values[kPaddedGrid + 1];
  kernels.frame->evaluate_grid(p, values);
  std::fill(values + kGridPoints, std::end(values), 0);
  brackets sums = {};
  if (!cross_zero(values, &sums)) return false;
  rsearch(p, &sums);
  const int32_t *const sum = sums.left + (sums.left[0] == 0 ? 1 : 0);
  if (sums.left + sums.count - sum != kPairs) return false;

  // A root of Q lies between a root of P and the next one, or half the sampling rate.
  brackets differences = {};
  differences.count = kPairs;
  int32_t value = lspdct(q, static_cast<uint16_t>(sum[0]));
  for (int m = 0; m < kPairs; m++) {
    const int32_t left = differences.left[m] = sum[m];
    const int32_t right = m < kPairs - 1 ? sum[m + 1] : kHalfRate;
    const int32_t low = value;
    value = lspdct(q, static_cast<uint16_t>(right));
    if (low != 0 && (value == 0 || (value ^ low) >= 0)) return false;
    differences.width[m] = low == 0 ? 0 : right - left;
    differences.sign[m] = low >> 31;
  }
  rsearch(q, &differences);
  for (int m = 0; m < kPairs; m++) {
    lsp[2 * m] = sum[m];
    lsp[2 * m + 1] = differences.left[m];
  }
  return true;
}

}  // namespace kelp
