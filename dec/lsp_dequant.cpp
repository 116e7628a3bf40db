// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include <algorithm>
#include <cstdlib>

#include "dec/dequant.h"

namespace kelp {
namespace {

// Running sums of the increments that the indices choose. No mean is added: the codebooks hold
// absolute steps.
void sum_increments(const uint32_t lsp_idx[kLspSplits], int32_t lsp[kLpcOrder]) {
  int32_t sum = 0;
  for (int split = 0; split < kLspSplits; split++) {
    const kelp_lsp_pair &pair = kelp_tbl_vq_lsp[split][lsp_idx[split]];
    lsp[2 * split] = sum += pair.first;
    lsp[2 * split + 1] = sum += pair.second;
  }
}

}  // namespace

bool lsps_usable(const usable_lsps &limits, const int32_t lsp[kLpcOrder]) {
  if (lsp[9] < limits.last_min || lsp[9] > limits.last_max) return false;
  for (int i = 0; i + limits.span < kLpcOrder; i++) {
    if (std::abs(lsp[i + limits.span] - lsp[i]) < limits.width) return false;
  }
  return true;
}

int32_t kelpd_iq_lsp_erasure_check(uint32_t rate, const uint32_t lsp_idx[5]) {
  if (rate < KELP_RATE_QUARTER || rate > KELP_RATE_FULL) return KELP_ERR_STATE;
  int32_t lsp[kLpcOrder];
  sum_increments(lsp_idx, lsp);
  const usable_lsps &limits =
      rate == KELP_RATE_QUARTER ? kUsableAtQuarterRate : kUsableAtHalfAndFullRate;
  return lsps_usable(limits, lsp) ? KELP_OK : KELP_ERR_LSP;
}

int32_t kelpd_iq_lpc(const kelpd_frame_params &params, decoder_state *state,
                     int32_t lsp[kLpcOrder]) {
  if (params.rate == KELP_RATE_EIGHTH) {
    iq_lsp_8th(params.codes.lsp_bit, *state, state->lsp_memory, lsp);
    return KELP_OK;
  }
  sum_increments(params.codes.lsp_idx, lsp);
  for (int i = 0; i < kLpcOrder; i++) {
    // Truncated here, rounded at eighth rate: the difference is part of the format.
    state->lsp_memory[i] = wrap_mul(lsp[i] - (tbl_bias[i] >> 5), kLspDecay_q15) >> 15;
  }
  return KELP_OK;
}

void iq_lsp_8th(const uint32_t lsp_bit[kLpcOrder], const decoder_state &state,
                int32_t memory[kLpcOrder], int32_t lsp[kLpcOrder]) {
  for (int i = 0; i < kLpcOrder; i++) {
    const int32_t value = lsp_bit[i] == 1 ? memory[i] + kLspStep : memory[i] - kLspStep;
    memory[i] = wrap_add(wrap_mul(value, kLspDecay_q15), 16384) >> 15;
    lsp[i] = value + (tbl_bias[i] >> 5);
  }
  space_lsps(lsp);
  // The memory stays as it was before spacing and smoothing.
  const int32_t old_weight_q15 = state.eighth_rate_run < kLongEighthRateRun ? 4096 : 29491;
  for (int i = 0; i < kLpcOrder; i++) {
    lsp[i] = wrap_add(wrap_mul(state.previous_lsp[i], old_weight_q15),
                      wrap_mul(lsp[i], 32768 - old_weight_q15)) >>
             15;
  }
}

}  // namespace kelp
