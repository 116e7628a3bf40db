// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "enc/lsp_quant.h"

#include <algorithm>

#include "common/wrapping.h"

namespace kelp {
namespace {

constexpr int64_t kPi_q24 = 52707178;

int32_t mul_q24(int32_t a, int32_t b) {
  return low32(product(a, b) >> 24);
}

// How the prediction filter's impulse response moves with LSP i: ten taps, symmetric for a root of
// the sum polynomial (even i), antisymmetric for one of the difference polynomial.
void sensitivity(const int16_t *a, int32_t lsp, int i, int32_t g[kLpcOrder]) {
  const int32_t two_cos = 2 * tbl_cosine_data[lsp >> 2];
  const int64_t pi_sin = tbl_sine_data[lsp >> 2] * kPi_q24;  // Q48
  const bool sum = i % 2 == 0;

  int32_t e[5];
  for (int k = 1; k <= 4; k++) {
    e[k] = sum ? -(a[k - 1] + a[10 - k]) : a[10 - k] - a[k - 1];
  }
  // The polynomial with the root divided out, Q10.
  int32_t b[5];
  b[1] = (two_cos >> 14) + e[1];
  b[2] = wrap_add(e[2], mul_q24(b[1], two_cos)) - 1024;
  b[3] = wrap_add(wrap_sub(e[3], b[1]), mul_q24(b[2], two_cos));
  b[4] = wrap_add(wrap_sub(e[4], b[2]), mul_q24(b[3], two_cos));

  g[0] = low32(pi_sin >> 38);
  const int32_t pi_sin_q24 = low32(pi_sin >> 24);
  for (int k = 1; k <= 4; k++) g[k] = mul_q24(b[k], pi_sin_q24);
  for (int k = 0; k < 5; k++) g[9 - k] = sum ? g[k] : wrap_neg(g[k]);
}

// Full and half rate.
void quantize_vector(encoder_frame *frame, encoder_state *state) {
  int64_t weight[kLpcOrder];
  lsp_weights(*frame, weight);
  search_lsp_codebooks(*frame->kernels, kelp_tbl_vq_lsp, frame->lsp, weight, frame->codes.lsp_idx,
                       frame->quantized_lsp);
  for (int i = 0; i < kLpcOrder; i++) {
    state->lsp_memory[i] =
        wrap_mul(frame->quantized_lsp[i] - tbl_idx_lpcorder[i], kLspDecay_q15) >> 15;
  }
}

// Eighth rate: one step up or down from the decayed last set.
void quantize_bits(encoder_frame *frame, encoder_state *state) {
  int32_t *const lsp = frame->quantized_lsp;
  for (int i = 0; i < kLpcOrder; i++) {
    const int32_t memory = state->lsp_memory[i];
    const bool up = frame->lsp[i] - tbl_idx_lpcorder[i] >= memory;
    const int32_t value = up ? memory + kLspStep : memory - kLspStep;
    frame->codes.lsp_bit[i] = up ? 1 : 0;
    lsp[i] = value + tbl_idx_lpcorder[i];
    state->lsp_memory[i] = wrap_mul(value, kLspDecay_q15) >> 15;
  }
  space_lsps(lsp);
  // Old and new are truncated separately, where the decoder truncates their sum.
  const bool long_run = state->eighth_rate_run >= kLongEighthRateRun;
  for (int i = 0; i < kLpcOrder; i++) {
    const int32_t old = state->previous_quantized_lsp[i];
    lsp[i] = long_run ? low32((product(old, 29491) >> 15) + (product(lsp[i], 3277) >> 15))
                      : low32((old >> 3) + (product(lsp[i], 28672) >> 15));
  }
}

}  // namespace

void lsp_weights(const encoder_frame &frame, int64_t weight[kLpcOrder]) {
  for (int i = 0; i < kLpcOrder; i++) {
    int32_t g[kLpcOrder];
    sensitivity(frame.lpc_q10, frame.lsp[i], i, g);
    int64_t sum = 0;
    for (int k = 0; k < kLpcOrder; k++) {
      int64_t correlation = 0;
      for (int n = 0; n + k < kLpcOrder; n++) {
        correlation = wrap_add64(correlation, product(g[n], g[n + k]));
      }
      // Lag 0 counts once, the others twice.
      sum =
          wrap_add64(sum, wrap_mul64(frame.autocorrelation[k], correlation) >> (k == 0 ? 20 : 19));
    }
    weight[i] = sum;
  }
}

void search_lsp_codebooks(const encoder_kernels &kernels,
                          const kelp_lsp_pair *const codebooks[kLspSplits],
                          const int32_t lsp[kLpcOrder], const int64_t weight[kLpcOrder],
                          uint32_t index[kLspSplits], int32_t quantized[kLpcOrder]) {
  int32_t below = 0;
  for (int m = 0; m < kLspSplits; m++) {
    const int first = 2 * m;
    const int second = first + 1;
    index[m] = kernels.search_split(codebooks[m], kLspSplitSize[m], lsp[first] - below,
                                    lsp[second] - lsp[first], weight[first], weight[second]);
    const kelp_lsp_pair &step = codebooks[m][index[m]];
    quantized[first] = below += step.first;
    quantized[second] = below += step.second;
  }
}

void kelpe_q_lsp(encoder_frame *frame, encoder_state *state) {
  if (frame->rate == KELP_RATE_EIGHTH) {
    quantize_bits(frame, state);
  } else {
    quantize_vector(frame, state);
  }
}

}  // namespace kelp
