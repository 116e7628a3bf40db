// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "common/lsp.h"

#include "kelp.h"

namespace kelp {
namespace {

constexpr int32_t kOne_q24 = 1 << 24;

// A palindromic polynomial in Q24.
struct polynomial {
  int32_t coefficient[12];
  int length;
};

// Multiplies by 1 - 2 c z^-1 + z^-2. The product is a palindrome too: its first half, the middle
// included, is computed and mirrored, for even and for odd lengths alike.
void multiply(polynomial *poly, int32_t cosine_q24) {
  const int32_t factor[3] = {kOne_q24, wrap_mul(cosine_q24, -2), kOne_q24};
  const int length = poly->length + 2;
  int32_t result[12];
  for (int k = 0; k <= length / 2; k++) {
    int64_t sum = 0;
    for (int j = 0; j < 3; j++) {
      if (k - j < 0 || k - j >= poly->length) continue;
      sum = wrap_add64(sum, product(factor[j], poly->coefficient[k - j]));
    }
    result[k] = low32(sum >> 24);
  }
  for (int k = 0; k <= length / 2; k++) {
    poly->coefficient[k] = result[k];
    poly->coefficient[length - 1 - k] = result[k];
  }
  poly->length = length;
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
  polynomial p = {{kOne_q24, kOne_q24}, 2};
  for (int i = 0; i < kLpcOrder; i += 2) multiply(&p, cosine[i]);
  polynomial q = {{kOne_q24, wrap_mul(cosine[1], -2), kOne_q24}, 3};
  for (int i = 3; i < kLpcOrder; i += 2) multiply(&q, cosine[i]);

  // Half the sum of both, Q24 to Q14, rounded once.
  for (int i = 1; i <= 5; i++) {
    const int32_t p_i = p.coefficient[i];
    const int32_t step = wrap_sub(q.coefficient[i], q.coefficient[i - 1]);
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
