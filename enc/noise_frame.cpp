// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// Eighth rate: noise at the level of the weighted residual.

#include <algorithm>

#include "common/fixed_point.h"
#include "common/noise.h"
#include "common/wrapping.h"
#include "enc/excitation_search.h"
#include "enc/gain_quant.h"
#include "format/pack.h"

namespace kelp {
namespace {

constexpr uint32_t kReservedSeed = 0xFFF7;

// Twice the residual's energy. The sum wraps without sign.
int32_t residual_energy(const int32_t *residual) {
  uint32_t sum = 0;
  for (int n = 0; n < KELP_FRAME_SAMPLES; n++) {
    const auto r = static_cast<uint32_t>(residual[n]);
    sum += 2 * r * r;
  }
  return static_cast<int32_t>(sum);
}

// Noise gain from the energy per frame: its root mean square times 1291.
int32_t noise_gain(int32_t frame_energy) {
  constexpr int32_t kSqrtHalf_q15 = 23170;
  const int32_t mean_q8 = ratio_q8(frame_energy, KELP_FRAME_SAMPLES);
  if (mean_q8 < 1) return 0;
  const int32_t norm = norm_32(mean_q8);
  int32_t root = squar_rt(wrap_shl(mean_q8, norm));
  if (norm % 2 != 0) root = (root * kSqrtHalf_q15) >> 15;
  const int exponent = (norm >> 1) - 1;
  root = saturate16(shift_right(root, exponent));
  return wrap_mul(root, 1291);
}

// Clean signals get half the noise; between clean and noisy the last choice stays.
int32_t attenuate(int32_t gain, int32_t snr_class, bool *halve) {
  if (snr_class >= 4) {
    *halve = true;
  } else if (snr_class <= 1) {
    *halve = false;
  }
  return *halve ? gain >> 1 : gain;
}

// Writes the packet and rewinds the writer: the frame driver writes it again at the end. What is
// wanted here is the seed, which the decoder will take from the packet.
void pack_for_seed(encoder_frame *frame, encoder_state *state) {
  kelpe_pack(frame->rate, frame->codes, frame->writer, &state->seed);
  frame->writer->cur = frame->writer->start;
  frame->writer->room = 8;
}

}  // namespace

void encode_noise(encoder_frame *frame, encoder_state *state) {
  constexpr int kStep = 20;
  int32_t gain = noise_gain(residual_energy(frame->weighted_residual));
  gain = attenuate(gain, state->rate_decision.band[0].snr_class, &state->halve_noise);
  codebook_codes codes = {};
  kelpe_q_cb_gain8th(gain, &gain, &codes.gain, &state->gains);
  kelpe_pack_cb(frame->rate, codes, &frame->codes, 0);

  state->seed = next_seed(state->seed);
  pack_for_seed(frame, state);
  // A packet of the reserved pattern would be written once more with the altered seed.
  if (state->seed == kReservedSeed) pack_for_seed(frame, state);

  codebook_record record = {};
  record.seed = static_cast<int32_t>(state->seed);
  const pitch_parameters no_pitch = {};
  const int32_t old_gain = state->previous_gain_q16;
  const int32_t new_gain = (old_gain + gain) >> 1;
  for (int k = 0; k < 8; k++) {
    // Each product is cut by itself, where the decoder cuts their sum.
    record.gain_q16 = ((gain_tabl2[k] * new_gain) >> 3) + ((gain_tabl1[k] * old_gain) >> 3);
    kelpe_cmn_dec(frame->rate, state, frame->coefficients[0], no_pitch, &record, nullptr,
                  synthesis_mode::analysis, kStep, 1);
  }
  state->previous_gain_q16 = record.gain_q16;
  state->eighth_rate_run = count_up(state->eighth_rate_run);
}

}  // namespace kelp
