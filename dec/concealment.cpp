// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// A frame made from the state alone: the last LSPs drift to their mean, pitch and codebook gain
// fade, and the excitation comes from four fixed stretches of the full-rate codebook.

#include <algorithm>
#include <cstdlib>

#include "common/noise.h"
#include "dec/decoder.h"
#include "dec/dequant.h"

namespace kelp {
namespace {

constexpr int kMaxErasureCount = 3;

// The decayed LSPs, spaced and smoothed; prediction coefficients for the whole frame.
void conceal_lsps(decoder_scratch *frame) {
  constexpr int32_t kDecay_q10[kMaxErasureCount + 1] = {1024, 921, 921, 716};
  decoder_state *const state = frame->state;
  int32_t lsp[kLpcOrder];
  for (int i = 0; i < kLpcOrder; i++) {
    state->lsp_memory[i] = wrap_mul(kDecay_q10[state->erasure_count], state->lsp_memory[i]) >> 10;
    lsp[i] = (tbl_bias[i] >> 5) + (wrap_mul(state->lsp_memory[i], kLspDecay_q15) >> 15);
  }
  space_lsps(lsp);

  constexpr int16_t kOneEighth[kSets] = {1, 1, 1, 1};
  for (int i = 0; i < kLpcOrder; i++) frame->lsp[i] = (7 * state->previous_lsp[i] + lsp[i]) >> 3;
  kelpd_lpc_convert(lsp, kOneEighth, frame);
}

// The last subframe's pitch, its gain capped lower with every loss.
pitch_parameters conceal_pitch(const decoder_state &state) {
  constexpr int16_t kGainCap_q3[kMaxErasureCount + 1] = {6, 4, 2, 0};
  const pitch_filter &last = state.synthesis.pitch;
  return {last.lag, last.fraction, std::min(last.gain_q3, kGainCap_q3[state.erasure_count])};
}

// The gain that this loss fades to. Background noise, which is quiet already, does not fade.
int32_t conceal_gain(decoder_state *state) {
  constexpr int32_t kQuietIndex = 14;
  gain_memory &gains = state->gains;
  gains.previous = gains.last;
  const bool background = state->last_rate == KELP_RATE_EIGHTH && gains.last < kQuietIndex;
  if (!background) {
    const int count = state->erasure_count;
    gains.last = std::max(gains.last - (count == kMaxErasureCount ? 2 * count : count), 0);
  }
  return codebook_gain_q16(gains.last);
}

}  // namespace

int32_t conceal_frame(decoder_scratch *frame) {
  decoder_state *const state = frame->state;
  synthesis_parameters &synthesis = frame->synthesis;
  conceal_lsps(frame);
  std::fill_n(synthesis.pitch, 4, conceal_pitch(*state));

  const int32_t old_gain = state->previous_gain_q16;
  const int32_t new_gain = (old_gain + conceal_gain(state)) >> 1;
  const int32_t ramp[4] = {(6 * old_gain + 2 * new_gain) >> 3, (old_gain + new_gain) >> 1,
                           (6 * new_gain + 2 * old_gain) >> 3, new_gain};

  // Every concealed frame starts from seed 0.
  auto position = static_cast<int32_t>(next_seed(0) & 127);
  for (int k = 0; k < 4; k++) {
    synthesis.records[k].gain_q16 = ramp[k];
    synthesis.records[k].index = position;
    position = (position + 88) % 128;
  }
  set_shape(&synthesis, KELP_RATE_FULL, 4, 1, 1);
  kelpd_cmn_dec(frame);

  state->previous_gain_q16 = std::abs(new_gain);
  state->erasure_count = std::min(state->erasure_count + 1, kMaxErasureCount);
  frame->params.rate = KELP_RATE_ERASURE;
  return KELP_OK;
}

}  // namespace kelp
