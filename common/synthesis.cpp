// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "common/synthesis.h"

#include <algorithm>

namespace kelp {
namespace {

// The energy of samples shifted left by `up` bits, from their own. Wraps in 64 bits.
int64_t energy_shifted_up(int64_t energy, int up) {
  return wrap_mul64(energy, int64_t{1} << (2 * up));
}

void take_history(const pitch_filter &filter, int32_t *samples) {
  std::copy_n(filter.history, kPitchHistory, samples - kPitchHistory);
}
void keep_history(const int32_t *end, pitch_filter *filter) {
  std::copy_n(end - kPitchHistory, kPitchHistory, filter->history);
}
void set_pitch(pitch_filter *filter, const pitch_parameters &pitch, int gain_q3) {
  filter->lag = pitch.lag;
  filter->fraction = pitch.fraction;
  filter->gain_q3 = static_cast<int16_t>(gain_q3);
}

// Excitation and long-term synthesis.
void synthesize_long_term(const synthesis_policy &policy, synthesis_state *state,
                          synthesis_parameters *frame, int32_t *samples) {
  const filter_kernels &kernels = *state->kernels;
  take_history(state->pitch, samples);
  codebook_record *records = frame->records;
  for (int k = 0; k < frame->subframes; k++) {
    const pitch_parameters &pitch = frame->pitch[k];
    make_excitation(kernels, frame->rate, records, &state->noise_fir, policy.fir_shift, frame->n,
                    frame->c, samples);
    kernels.pitch_on(samples, pitch.lag, pitch.gain_q3, pitch.fraction, policy.rounding, frame->n);
    set_pitch(&state->pitch, pitch, pitch.gain_q3);
    samples += frame->n;
    const int32_t seed = records->seed;
    records += frame->c;
    if (k + 1 < frame->subframes) records->seed = seed;
  }
  keep_history(samples, &state->pitch);
}

// Replaces each subframe by its smoothed form, brought back to the energy that it had.
void smooth_pitch(const synthesis_policy &policy, synthesis_state *state,
                  const synthesis_parameters &frame, int32_t *samples) {
  const filter_kernels &kernels = *state->kernels;
  const int n = frame.n;
  int32_t gain[kMostSubframes];
  take_history(state->smoothing, samples);
  for (int k = 0; k < frame.subframes; k++) {
    const pitch_parameters &pitch = frame.pitch[k];
    int32_t *const p = samples + k * n;
    const int64_t wanted = energy_shifted_up(kernels.energy(p, n, 0), policy.match_bits);
    set_pitch(&state->smoothing, pitch, pitch.gain_q3 > 8 ? 4 : pitch.gain_q3 >> 1);
    kernels.pitch_on(p, pitch.lag, state->smoothing.gain_q3, pitch.fraction, policy.rounding, n);
    const int64_t smoothed = kernels.energy(p, n, 6);
    gain[k] = wanted != 0 && smoothed != 0 ? integer_sqrt(wanted / smoothed) : 0;
  }
  keep_history(samples + frame.subframes * n, &state->smoothing);
  for (int k = 0; k < frame.subframes; k++) {
    kernels.scale(samples + k * n, n, 6, gain[k], policy.match_bits, samples + k * n);
  }
}

// Formant synthesis, A(z / 0.625) / A(z / 0.775) and the last stage, and each subframe brought to
// the level that it had before the postfilter, with one gain.
void synthesize_and_postfilter(const synthesis_policy &policy, synthesis_state *state,
                               const synthesis_parameters &frame, int32_t *samples) {
  static constexpr int32_t kWeights_q14[kLpcOrder][4] = {
      {16384, -10240, 0, 12697}, {16384, -6400, 0, 9839}, {16384, -4000, 0, 7624},
      {16384, -2500, 0, 5908},   {16384, -1562, 0, 4578}, {16384, -976, 0, 3547},
      {16384, -610, 0, 2748},    {16384, -381, 0, 2129},  {16384, -238, 0, 1649},
      {16384, -148, 0, 1277}};
  const filter_kernels &kernels = *state->kernels;
  const int n = frame.n;
  int64_t energies[kMostSubframes];
  std::fill_n(samples + frame.subframes * n, kRoomBehind, 0);
  kernels.short_term(samples,
                     {&frame.lpc_q14, kWeights_q14, state->formant, state->post_pole,
                      state->last_stage.coefficient_q14, &state->last_stage.memory},
                     frame.subframes, n, frame.sets, energies);

  for (int k = 0; k < frame.subframes; k++) {
    const int64_t wanted = energy_shifted_up(energies[k], policy.control_bits);
    const int64_t filtered = kernels.energy(samples, n, 8);
    if (wanted != 0 && filtered != 0) {
      const int64_t ratio = integer_sqrt(wanted / filtered);
      const int64_t sum = state->control_gain_q14 * 15360 + (ratio << (16 - policy.control_bits));
      state->control_gain_q14 = static_cast<int16_t>(sum >> 14);
    }
    kernels.scale(samples, n, 8, state->control_gain_q14, 6, samples);
    samples += n;
  }
}

}  // namespace

void synthesize_frame(const synthesis_policy &policy, synthesis_state *state,
                      synthesis_parameters *frame, synthesis_buffer *buffer) {
  int32_t *const samples = buffer->samples();
  synthesize_long_term(policy, state, frame, samples);
  if (policy.smoothing) smooth_pitch(policy, state, *frame, samples);
  if (policy.postfilter) {
    synthesize_and_postfilter(policy, state, *frame, samples);
  } else {
    const int n = frame->subframes * frame->n / frame->sets;
    for (int s = 0; s < frame->sets; s++) {
      int32_t set[kLpcOrder];
      for (int i = 0; i < kLpcOrder; i++) set[i] = frame->lpc_q14[i][s];
      state->kernels->pole(samples + s * n, state->formant, set, n, true, samples + s * n);
    }
  }
}

// Not inlined: the encoder, which runs the weighted filter only, spares its stack.
[[gnu::noinline]] static void synthesize_whole_subframe(const synthesis_policy &policy,
                                                        int32_t rate, synthesis_state *state,
                                                        const subframe_coefficients &coefficients,
                                                        const pitch_parameters &pitch,
                                                        codebook_record *records, int32_t *output,
                                                        int n, int c) {
  synthesis_parameters frame = {rate, 1, n, c, 1, {}, {pitch}, {}};
  for (int i = 0; i < kLpcOrder; i++) frame.lpc_q14[i][0] = coefficients.expanded[i];
  std::copy_n(records, c, frame.records);
  synthesis_buffer buffer;
  synthesize_frame(policy, state, &frame, &buffer);
  std::copy_n(buffer.samples(), n, output);
  records[0].seed = frame.records[0].seed;
}

void synthesize_subframe(const synthesis_policy &policy, int32_t rate, synthesis_state *state,
                         const subframe_coefficients &coefficients, const pitch_parameters &pitch,
                         codebook_record *records, int32_t *weighted, int32_t *output, int n,
                         int c) {
  if (weighted == nullptr) {
    synthesize_whole_subframe(policy, rate, state, coefficients, pitch, records, output, n, c);
    return;
  }
  const filter_kernels &kernels = *state->kernels;
  int32_t p[kMaxSubframe];
  make_excitation(kernels, rate, records, &state->noise_fir, policy.fir_shift, n, c, p);
  set_pitch(&state->pitch, pitch, pitch.gain_q3);
  kernels.pitch(p, pitch.lag, pitch.gain_q3, pitch.fraction, policy.rounding, state->pitch.history,
                n, true, p);
  kernels.pole(p, weighted, coefficients.weighted, n, true, p);
}

}  // namespace kelp
