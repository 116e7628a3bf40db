// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// Full and half rate: pitch and codebook parameters by analysis and synthesis, one subframe after
// the other.

#include "enc/excitation_search.h"

#include <cstdlib>

#include "enc/gain_quant.h"
#include "format/pack.h"

namespace kelp {
namespace {

// w (to Q14) less what the filter gives for `excitation`, whose place the target takes, on its
// memory as it stands.
void make_target(const int32_t *w, const subframe_coefficients &coefficients, encoder_state *state,
                 int n, int32_t *excitation) {
  state->local_decoder.kernels->pole(excitation, state->weighted_synthesis, coefficients.weighted,
                                     n, false, excitation);
  for (int k = 0; k < n; k++) excitation[k] = wrap_sub(wrap_shl(w[k], 14), excitation[k]);
}

// Pitch parameters of subframe i, as the decoder will read them. Not inlined, so that the stack of
// this search and that of the codebook's are not needed at once.
[[gnu::noinline]] pitch_parameters encode_pitch(encoder_frame *frame, encoder_state *state, int i,
                                                const int32_t h[kImpulseResponse]) {
  int32_t target[kPitchSubframe] = {};
  make_target(frame->weighted_speech + i * kPitchSubframe, frame->coefficients[i], state,
              kPitchSubframe, target);
  const pitch_candidate best =
      search_pitch(*frame->kernels, target, h, state->local_decoder.pitch.history);

  pitch_parameters pitch = {best.lag, best.fraction, 0};
  payload_codes &codes = frame->codes;
  kelpe_q_pitch_gain(best.lag != 0 ? pitch_gain_q14(best) : 0, &pitch.gain_q3,
                     &codes.pitch_gain[i]);
  if (pitch.gain_q3 == 0) pitch.lag = 0;
  kelpe_q_pitch_lag(&pitch.lag, &codes.pitch_lag[i], &pitch.fraction, &codes.pitch_frac[i]);
  return pitch;
}

// Codebook subframe j of pitch subframe i, n samples. At full rate the filtered codebook is that of
// the pitch subframe.
void encode_codebook(encoder_frame *frame, encoder_state *state, const pitch_parameters &pitch,
                     int i, int j, int n, const int32_t h[kImpulseResponse],
                     filtered_codebook *filtered) {
  const subframe_coefficients &coefficients = frame->coefficients[i];
  int32_t target[kPitchSubframe];
  predict_pitch(pitch, state, n, target);
  make_target(frame->weighted_speech + i * kPitchSubframe + j * n, coefficients, state, n, target);
  const codebook_choice choice =
      frame->rate == KELP_RATE_FULL
          ? search_codebook(*frame->kernels, *filtered, target)
          : search_long_codebook(*frame->kernels, h, kelp_tbl_cb_half, target, filtered);

  codebook_record record = {};
  codebook_codes codes = {};
  record.gain_q16 = choice.gain_q16;
  record.index = choice.index;
  kelpe_q_cb_gain(frame->rate, &record.gain_q16, &codes.gain, &codes.sign, j, &state->gains);
  codes.index = kelpe_q_cb_idx(choice.index);
  kelpe_pack_cb(frame->rate, codes, &frame->codes, i * (kPitchSubframe / n) + j);

  kelpe_cmn_dec(frame->rate, state, coefficients, pitch, &record, nullptr, synthesis_mode::analysis,
                n, 1);
  state->previous_gain_q16 = std::abs(record.gain_q16);
}

[[gnu::noinline]] void encode_codebooks(encoder_frame *frame, encoder_state *state,
                                        const pitch_parameters &pitch, int i,
                                        const int32_t h[kImpulseResponse]) {
  const int count = kelp_tbl_cb_sf[frame->rate] / kelp_tbl_pitch_sf[frame->rate];
  filtered_codebook filtered;
  filtered.inverse = frame->codebook_inverse;
  if (frame->rate == KELP_RATE_FULL) {
    frame->kernels->filter_codebook(kelp_tbl_cb, h, 0, &filtered);
  }
  for (int j = 0; j < count; j++) {
    encode_codebook(frame, state, pitch, i, j, kPitchSubframe / count, h, &filtered);
  }
}

void encode_speech(encoder_frame *frame, encoder_state *state) {
  for (int i = 0; i < 4; i++) {
    int32_t h[kImpulseResponse];
    impulse_response(*state->local_decoder.kernels, frame->coefficients[i], h);
    const pitch_parameters pitch = encode_pitch(frame, state, i, h);
    encode_codebooks(frame, state, pitch, i, h);
  }
  state->eighth_rate_run = 0;
}

}  // namespace

void impulse_response(const filter_kernels &kernels, const subframe_coefficients &coefficients,
                      int32_t h[kImpulseResponse]) {
  const int32_t impulse[kImpulseResponse] = {16384};
  lpc_memory memory = {};
  kernels.pole(impulse, memory, coefficients.weighted, kImpulseResponse, false, h);
}

void kelpe_pitch_cb_extract(encoder_frame *frame, encoder_state *state) {
  switch (frame->rate) {
    case KELP_RATE_EIGHTH: encode_noise(frame, state); break;
    case KELP_RATE_HALF:
    case KELP_RATE_FULL: encode_speech(frame, state); break;
    default: break;
  }
}

}  // namespace kelp
