// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// Full and half rate: pitch and codebook parameters by analysis and synthesis, one subframe after
// the other.

#include "enc/excitation_search.h"

#include <algorithm>
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

// Quantizes a choice for codebook subframe j of pitch subframe i, the k-th of the frame.
codebook_record quantize_choice(const codebook_choice &choice, encoder_frame *frame,
                                encoder_state *state, int j, int k) {
  codebook_record record = {};
  codebook_codes codes = {};
  record.gain_q16 = choice.gain_q16;
  record.index = choice.index;
  kelpe_q_cb_gain(frame->rate, &record.gain_q16, &codes.gain, &codes.sign, j, &state->gains);
  codes.index = kelpe_q_cb_idx(choice.index);
  kelpe_pack_cb(frame->rate, codes, &frame->codes, k);
  state->previous_gain_q16 = std::abs(record.gain_q16);
  return record;
}

// Half rate: one codebook subframe, as long as the pitch subframe.
[[gnu::noinline]] void encode_long_codebook(encoder_frame *frame, encoder_state *state,
                                            const pitch_parameters &pitch, int i,
                                            const int32_t h[kImpulseResponse]) {
  const subframe_coefficients &coefficients = frame->coefficients[i];
  int32_t target[kPitchSubframe];
  predict_pitch(pitch, state, kPitchSubframe, target);
  make_target(frame->weighted_speech + i * kPitchSubframe, coefficients, state, kPitchSubframe,
              target);
  filtered_codebook filtered(&frame->candidates);
  const codebook_choice choice =
      frame->kernels->frame->search_long_codebook(kelp_tbl_cb_half, h, target, &filtered);
  codebook_record record = quantize_choice(choice, frame, state, 0, i);
  kelpe_cmn_dec(frame->rate, state, coefficients, pitch, &record, nullptr, synthesis_mode::analysis,
                kPitchSubframe, 1);
}

// The weighted filter over ten samples from rest; `ringing` holds what its memory adds.
void run_from_rest(const int32_t x[kRing], const int32_t *ringing, const int32_t *a,
                   int32_t y[kRing]) {
#pragma GCC unroll 10
  for (int k = 0; k < kRing; k++) {
    int64_t sum = int64_t{x[k]} + ringing[k];
#pragma GCC unroll 10
    for (int i = k; i > 0; i--) sum += product(y[k - i], a[i - 1]) >> 14;  // the newest one last
    y[k] = low32(sum);
  }
}

// How many samples of a pitch subframe, at least one codebook subframe's, the pitch filter takes
// from the excitation before them alone: in whole blocks of eight, which its kernels compute.
int samples_in_reach(const pitch_parameters &pitch) {
  const int newest = pitch.fraction == 0 ? pitch.lag : pitch.lag - 3;
  return std::max(kRing, (newest - 1) / 8 * 8);
}

// Full rate: four codebook subframes, each as long as the weighted filter's memory. Neither what
// that adds nor the pitch filter's contribution, whose lag is longer, depends on the choice: they
// serve the target and, once the choice is made, the filters' next memories.
[[gnu::noinline]] void encode_short_codebooks(encoder_frame *frame, encoder_state *state,
                                              const pitch_parameters &pitch, int i,
                                              const int32_t h[kImpulseResponse]) {
  static_assert(filtered_codebook::kSamples == kRing);
  const encoder_kernels &kernels = *frame->kernels;
  const int32_t *const w = frame->weighted_speech + i * kPitchSubframe;
  pitch_filter &long_term = state->local_decoder.pitch;
  filtered_codebook filtered(&frame->candidates);
  kernels.subframe->filter_codebook(kelp_tbl_cb, h, &filtered);
  int32_t a[kPaddedTaps] = {};
  std::copy_n(frame->coefficients[i].weighted, kLpcOrder, a);

  int32_t prediction[kPitchSubframe];
  int predicted_samples = 0;
  for (int j = 0; j < kPitchSubframe / kRing; j++) {
    int32_t *const predicted = prediction + j * kRing;
    if (predicted_samples < (j + 1) * kRing) {
      const int n = std::min(kPitchSubframe - j * kRing, samples_in_reach(pitch));
      predict_pitch(pitch, state, n, predicted);
      predicted_samples = j * kRing + n;
    }
    int32_t ringing[kPaddedTaps];
    kernels.subframe->ring(state->weighted_synthesis, a, ringing);

    int32_t target[kRing];
    run_from_rest(predicted, ringing, a, target);
    for (int k = 0; k < kRing; k++) {
      target[k] = wrap_sub(wrap_shl(w[j * kRing + k], 14), target[k]);
    }
    const codebook_choice choice = kernels.subframe->search_codebook(kelp_tbl_cb, filtered, target);
    const codebook_record record =
        quantize_choice(choice, frame, state, j, i * (kPitchSubframe / kRing) + j);

    std::copy(long_term.history + kRing, long_term.history + kPitchHistory, long_term.history);
    int32_t *const excitation = long_term.history + kPitchHistory - kRing;
    state->local_decoder.kernels->codebook(kelp_tbl_cb, record.index, record.gain_q16, kRing,
                                           excitation);
    for (int k = 0; k < kRing; k++) excitation[k] = wrap_add(excitation[k], predicted[k]);
    run_from_rest(excitation, ringing, a, state->weighted_synthesis);
  }
  long_term.lag = pitch.lag;
  long_term.fraction = pitch.fraction;
  long_term.gain_q3 = pitch.gain_q3;
}

// Of the weighted synthesis filters. Not inlined, to spare the searches this stack.
[[gnu::noinline]] void find_impulse_responses(const filter_kernels &kernels, encoder_frame *frame) {
  coefficient_sets weighted;
  for (int s = 0; s < kSets; s++) {
    for (int i = 0; i < kLpcOrder; i++) weighted[i][s] = frame->coefficients[s].weighted[i];
  }
  int32_t responses[kImpulseResponse][kSets];
  kernels.impulses(weighted, responses);
  for (int s = 0; s < kSets; s++) {
    for (int k = 0; k < kImpulseResponse; k++) frame->impulse_response[s][k] = responses[k][s];
  }
}

void encode_speech(encoder_frame *frame, encoder_state *state) {
  find_impulse_responses(*state->local_decoder.kernels, frame);
  for (int i = 0; i < kSets; i++) {
    const int32_t *const h = frame->impulse_response[i];
    const pitch_parameters pitch = encode_pitch(frame, state, i, h);
    if (frame->rate == KELP_RATE_FULL) {
      encode_short_codebooks(frame, state, pitch, i, h);
    } else {
      encode_long_codebook(frame, state, pitch, i, h);
    }
  }
  state->eighth_rate_run = 0;
}

}  // namespace

void kelpe_pitch_cb_extract(encoder_frame *frame, encoder_state *state) {
  switch (frame->rate) {
    case KELP_RATE_EIGHTH: encode_noise(frame, state); break;
    case KELP_RATE_HALF:
    case KELP_RATE_FULL: encode_speech(frame, state); break;
    default: break;
  }
}

}  // namespace kelp
