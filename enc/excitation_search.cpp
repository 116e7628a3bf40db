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

// The target from weighted speech w and what the weighted filter gives (Q14), whose place it takes.
void subtract_from(const int32_t *w, int n, int32_t *y) {
  for (int k = 0; k < n; k++) y[k] = wrap_sub(wrap_shl(w[k], 14), y[k]);
}

// The target from `excitation`, whose place it takes: what it lacks on the filter's memory as it
// stands.
void make_target(const int32_t *w, const subframe_coefficients &coefficients, encoder_state *state,
                 int n, int32_t *excitation) {
  state->local_decoder.kernels->pole(excitation, state->weighted_synthesis, coefficients.weighted,
                                     n, false, excitation);
  subtract_from(w, n, excitation);
}

// Pitch parameters of subframe i, as the decoder will read them. Neither this nor the two codebook
// searches are inlined: so they use the same stack, one after the other.
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

// The weighted filter over ten samples; what its memory adds is at hand.
void run_weighted(const int32_t x[kRing], const int32_t *ringing, const int32_t *a,
                  int32_t y[kRing]) {
#pragma GCC unroll 10
  for (int k = 0; k < kRing; k++) {
    int64_t sum = int64_t{x[k]} + ringing[k];
#pragma GCC unroll 10
    for (int i = k; i > 0; i--) sum += product(y[k - i], a[i - 1]) >> 14;  // the newest one last
    y[k] = low32(sum);
  }
}

// For how many samples the pitch filter needs no excitation but that before the first of them: one
// codebook subframe always, or so many whole blocks of eight as its kernels compute straight from
// the history.
int samples_in_reach(const pitch_parameters &pitch) {
  const int newest = pitch.fraction == 0 ? pitch.lag : pitch.lag - 3;
  return std::max(kRing, (newest - 1) / 8 * 8);
}

// Puts a codebook subframe's excitation at the end of the pitch filter's history.
const int32_t *append_excitation(const codebook_record &record, const int32_t predicted[kRing],
                                 synthesis_state *local_decoder) {
  int32_t *const history = local_decoder->pitch.history;
  std::copy(history + kRing, history + kPitchHistory, history);
  int32_t *const excitation = history + kPitchHistory - kRing;
  local_decoder->kernels->codebook(kelp_tbl_cb, record.index, record.gain_q16, kRing, excitation);
  for (int k = 0; k < kRing; k++) excitation[k] = wrap_add(excitation[k], predicted[k]);
  return excitation;
}

// Full rate: four codebook subframes, each as long as the weighted filter's memory. Neither what
// that adds nor the pitch filter's contribution, whose lag is longer, depends on the choice: they
// serve the target and, once the choice is made, the filters' next memories.
[[gnu::noinline]] void encode_short_codebooks(encoder_frame *frame, encoder_state *state,
                                              const pitch_parameters &pitch, int i,
                                              const int32_t h[kImpulseResponse]) {
  static_assert(filtered_codebook::kSamples == kRing);
  constexpr int kCodebookSubframes = kPitchSubframe / kRing;
  const encoder_kernels &kernels = *frame->kernels;
  const int32_t *const w = frame->weighted_speech + i * kPitchSubframe;
  filtered_codebook filtered(&frame->candidates);
  kernels.subframe->filter_codebook(kelp_tbl_cb, h, &filtered);
  int32_t a[kPaddedTaps] = {};
  std::copy_n(frame->coefficients[i].weighted, kLpcOrder, a);

  int32_t prediction[kPitchSubframe];
  int predicted_samples = 0;
  for (int j = 0; j < kCodebookSubframes; j++) {
    const int start = j * kRing;
    int32_t *const predicted = prediction + start;
    if (predicted_samples < start + kRing) {
      const int n = std::min(kPitchSubframe - start, samples_in_reach(pitch));
      predict_pitch(pitch, state, n, predicted);
      predicted_samples = start + n;
    }
    int32_t ringing[kPaddedTaps];
    kernels.subframe->ring(state->weighted_synthesis, a, ringing);

    int32_t target[kRing];
    run_weighted(predicted, ringing, a, target);
    subtract_from(w + start, kRing, target);
    const codebook_choice choice = kernels.subframe->search_codebook(kelp_tbl_cb, filtered, target);
    const codebook_record record =
        quantize_choice(choice, frame, state, j, i * kCodebookSubframes + j);
    const int32_t *const excitation = append_excitation(record, predicted, &state->local_decoder);
    run_weighted(excitation, ringing, a, state->weighted_synthesis);
  }
  pitch_filter &long_term = state->local_decoder.pitch;
  long_term.lag = pitch.lag;
  long_term.fraction = pitch.fraction;
  long_term.gain_q3 = pitch.gain_q3;
}

// The weighted synthesis filters' responses, which replace the weighted residual in the frame.
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
