// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "common/lsp.h"

#include "kelp.h"

namespace kelp {
namespace {

constexpr int32_t kOne_q24 = 1 << 24;

// Multiplies a palindromic polynomial in Q24 by 1 - 2 c z^-1 + z^-2. The product is a palindrome
// too, and only the first halves of both are kept, the middle included: `last` is the last index of
// the product's, `beyond` what the polynomial would hold there. p[0] stays 1. Only the middle
// factor's products are cut; the outer ones are whole numbers of Q24.
template <int kLast>
inline void multiply(int32_t *p, int32_t beyond, int32_t cosine_q24) {
  const int32_t factor = wrap_mul(cosine_q24, -2);
  p[kLast] = beyond;
#pragma GCC unroll 5
  for (int k = kLast; k >= 1; k--) {
    const int32_t outer = k >= 2 ? wrap_add(p[k], p[k - 2]) : p[k];
    p[k] = wrap_add(outer, low32(product(factor, p[k - 1]) >> 24));
  }
}

}  // namespace

void space_lsps(int32_t lsp[kLpcOrder]) {
  if (lsp[0] < kMinLspSpacing) lsp[0] = kMinLspSpacing;
  for (int i = 1; i < kLpcOrder; i++) {
    if (lsp[i] - lsp[i - 1] < kMinLspSpacing) lsp[i] = lsp[i - 1] + kMinLspSpacing;
  }
  if (lsp[kLpcOrder - 1] > kMaxLsp) lsp[kLpcOrder - 1] = kMaxLsp;
  for (int i = kLpcOrder - 2; i >= 0; i--) {
    if (lsp[i + 1] - lsp[i] < kMinLspSpacing) lsp[i] = lsp[i + 1] - kMinLspSpacing;
  }
}

void cosines_to_lpc(const int32_t cosine[kLpcOrder], int32_t lpc_q14[kLpcOrder]) {
  // The sum polynomial with its root at -1, and the difference polynomial without its root at +1.
  int32_t p[6] = {kOne_q24};
  int32_t q[6] = {kOne_q24, wrap_mul(cosine[1], -2)};
  multiply<1>(p, p[0], cosine[0]);  // of even length: the halves meet in two equal coefficients
  multiply<2>(p, p[1], cosine[2]);
  multiply<2>(q, q[0], cosine[3]);
  multiply<3>(p, p[2], cosine[4]);
  multiply<3>(q, q[1], cosine[5]);
  multiply<4>(p, p[3], cosine[6]);
  multiply<4>(q, q[2], cosine[7]);
  multiply<5>(p, p[4], cosine[8]);
  multiply<5>(q, q[3], cosine[9]);

  // Half the sum of both, Q24 to Q14, rounded once.
  for (int i = 1; i <= 5; i++) {
    const int32_t p_i = p[i];
    const int32_t step = wrap_sub(q[i], q[i - 1]);
    lpc_q14[i - 1] = wrap_add(wrap_sub(wrap_neg(step), p_i), 1024) >> 11;
    lpc_q14[10 - i] = wrap_add(wrap_sub(step, p_i), 1024) >> 11;
  }
}

void expand_bandwidth(int32_t lpc_q14[kLpcOrder]) {
  for (int k = 0; k < kLpcOrder; k++) {
    lpc_q14[k] = low32(product(lpc_q14[k], tbl_lpc_bw_expand[k]) >> 14);
  }
}

void weight_coefficients(subframe_coefficients *set, int32_t factor, int q) {
  int32_t power = factor;
  for (int k = 0; k < kLpcOrder; k++) {
    set->weighted[k] = low32(product(set->expanded[k], power) >> q);
    power = wrap_mul(power, factor) >> q;
  }
}

}  // namespace kelp
