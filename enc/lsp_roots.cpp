// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// Line spectral pairs by a grid search for sign changes.

#include <cstdlib>

#include "common/fixed_point.h"
#include "common/wrapping.h"
#include "enc/analysis.h"
#include "tables/analysis_tables.h"

namespace kelp {
namespace {

constexpr uint16_t kHalfRate = 32768;  // half the sampling rate

// cos(pi u / 32768) in Q24, without interpolation.
int64_t grid_cosine(uint32_t u) {
  const int64_t cosine = tbl_cosine_data[(u >> 2) & 8191];
  return (u & 0x8000) != 0 ? -cosine : cosine;
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

}  // namespace

int32_t lspdct(const int32_t polynomial[6], uint16_t w) {
  int64_t sum = 1024 * grid_cosine(5U * w) + int64_t{polynomial[5]} * (1 << 23);
  for (int i = 1; i <= 4; i++) {
    sum += polynomial[i] * grid_cosine(static_cast<uint32_t>(5 - i) * w);
  }
  return low32((sum + 0x40000) >> 19);
}

uint16_t rsearch(const int32_t polynomial[6], uint16_t a, uint16_t b, int32_t fa, int32_t fb) {
  if (product(fa, fb) > 0) return 0;
  if (fa == 0) return a;
  if (fb == 0) return 0;  // found as the left end of the next interval
  for (int round = 0; round < 10; round++) {
    const auto mid = static_cast<uint16_t>((a + b) >> 1);
    if ((mid - a) * 800 < 32768) {
      // Interpolation would go here, but no divisor is ever large enough for div_32_32: the
      // quotient is 0 and the root is the left end.
      const int32_t fraction = div_32_32(wrap_abs(fa), wrap_abs(wrap_sub(fb, fa)));
      return static_cast<uint16_t>(wrap_add(a, wrap_mul(fraction, b - a)));
    }
    const int32_t fm = lspdct(polynomial, mid);
    if (fm == 0) return mid;
    // Masks, not branches: nothing foretells which half it is.
    const int32_t left = (fm ^ fa) >> 31;
    b = static_cast<uint16_t>((mid & left) | (b & ~left));
    fb = (fm & left) | (fb & ~left);
    a = static_cast<uint16_t>((a & left) | (mid & ~left));
    fa = (fa & left) | (fm & ~left);
  }
  return a;
}

bool find_lsps(const encoder_kernels &kernels, const int16_t lpc_q10[kLpcOrder],
               int32_t lsp[kLpcOrder]) {
  int32_t p[6];
  int32_t q[6];
  make_polynomials(lpc_q10, p, q);

  uint16_t bracket[6];  // the five roots of P, and the end of the last interval for Q
  int roots = 0;
  int32_t values[kGridPoints];
  kernels.frame->evaluate_grid(p, values);
  uint16_t left = 0;
  for (size_t i = 0; i < kLspGrid.size(); i++) {
    const uint16_t right = kLspGrid[i];
    const bool crosses = product(values[i], values[i + 1]) <= 0;
    const uint16_t root = crosses ? rsearch(p, left, right, values[i], values[i + 1]) : 0;
    if (root != 0) {
      if (roots == 5) return false;
      bracket[roots++] = root;
    }
    left = right;
  }
  if (roots != 5) return false;
  bracket[5] = kHalfRate;

  int32_t low = lspdct(q, bracket[0]);
  for (int m = 0; m < 5; m++) {
    const int32_t high = lspdct(q, bracket[m + 1]);
    const uint16_t root = rsearch(q, bracket[m], bracket[m + 1], low, high);
    if (root == 0) return false;
    low = high;
    lsp[2 * m] = bracket[m];
    lsp[2 * m + 1] = root;
  }
  return true;
}

}  // namespace kelp
