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
// the sum polynomial (even i), antisymmetric for one of the difference polynomial. Into column i.
//   e  of that polynomial, coefficients 1 to 4 without what its trivial root adds
void sensitivity(const int32_t e[4], int32_t lsp, int i, lsp_columns *g) {
  const int32_t two_cos = 2 * tbl_cosine_data[lsp >> 2];
  const int64_t pi_sin = tbl_sine_data[lsp >> 2] * kPi_q24;  // Q48
  // The polynomial with the root divided out, Q10.
  const int32_t b1 = (two_cos >> 14) + e[0];
  const int32_t b2 = wrap_add(e[1], mul_q24(b1, two_cos)) - 1024;
  const int32_t b3 = wrap_add(wrap_sub(e[2], b1), mul_q24(b2, two_cos));
  const int32_t b4 = wrap_add(wrap_sub(e[3], b2), mul_q24(b3, two_cos));

  const int32_t pi_sin_q24 = low32(pi_sin >> 24);
  const int32_t taps[5] = {low32(pi_sin >> 38), mul_q24(b1, pi_sin_q24), mul_q24(b2, pi_sin_q24),
                           mul_q24(b3, pi_sin_q24), mul_q24(b4, pi_sin_q24)};
  const int32_t sign = i % 2 == 0 ? 1 : -1;
  for (int k = 0; k < 5; k++) {
    g->row[k][i] = taps[k];
    g->row[9 - k][i] = wrap_mul(taps[k], sign);
  }
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
  const int16_t *const a = frame.lpc_q10;
  int32_t e[2][4];
  for (int k = 0; k < 4; k++) {
    e[0][k] = -(a[k] + a[9 - k]);
    e[1][k] = a[9 - k] - a[k];
  }
  lsp_columns g;
  for (int i = 0; i < kLpcOrder; i++) sensitivity(e[i % 2], frame.lsp[i], i, &g);
  int64_t correlation[kLpcOrder][kLspColumns];
  frame.kernels->frame->correlate_columns(g, correlation);
  for (int i = 0; i < kLpcOrder; i++) {
    // Lag 0 counts once, the others twice.
    int64_t sum = wrap_mul64(frame.autocorrelation[0], correlation[0][i]) >> 20;
    for (int k = 1; k < kLpcOrder; k++) {
      sum = wrap_add64(sum, wrap_mul64(frame.autocorrelation[k], correlation[k][i]) >> 19);
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
    index[m] = kernels.frame->search_split(codebooks[m], kLspSplitSize[m], lsp[first] - below,
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
