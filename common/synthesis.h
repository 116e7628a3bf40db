// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// Synthesis of one subframe: excitation, long-term synthesis, its smoothing, formant synthesis,
// postfilter, gain control. Decoder and encoder run this one body; a policy names what differs:
//
//   pitch_rounding   how half-sample lags are rounded (common/filters.h)
//   last_stage       the postfilter's last filter, with run(samples, n)
//   kMatchBits       bits kept by the gain that restores the energy after smoothing
//   kControlBits     the same of the gain control
//   kFirShift        Q format of the quarter-rate noise filter's taps
//   kSmoothing, kPostfilter   false leaves a stage out, for measurements
#ifndef KELP_COMMON_SYNTHESIS_H
#define KELP_COMMON_SYNTHESIS_H

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "common/excitation.h"
#include "common/filters.h"
#include "common/lsp.h"
#include "common/wrapping.h"

namespace kelp {

enum class synthesis_mode {
  analysis,  // long-term synthesis and the weighted filter only, for the encoder's search
  normal,    // all of it, into the output
};

struct pitch_parameters {
  int32_t lag;       // samples
  int32_t fraction;  // 0, or 2: half a sample more
  int16_t gain_q3;   // 8 = 1.0
};

// Every memory of synthesis, kept from subframe to subframe.
template <typename LastStage>
struct synthesis_state {
  lpc_filter formant;
  lpc_filter weighted;  // analysis mode only
  int32_t weighted_output[kMaxSubframe];
  pitch_filter pitch;      // keeps the last subframe's parameters for concealment too
  pitch_filter smoothing;  // second, weaker long-term filter
  lpc_filter post_pole;
  lpc_filter post_zero;
  LastStage last_stage;
  int16_t control_gain_q14;  // gain control, starts at 16384
  fir_filter<kNoiseTaps> noise_fir;
};

// floor(sqrt(x)), at most 65535; 0 for negative x. Bit by bit, from bit 7 for short quotients.
inline int32_t integer_sqrt(int64_t x) {
  int64_t root = 0;
  for (int64_t bit = x < 65536 ? 1 << 7 : 1 << 15; bit != 0; bit >>= 1) {
    const int64_t trial = (root | bit) * (root | bit);
    if (trial <= x) root |= bit;
    if (trial == x) break;
  }
  return static_cast<int32_t>(root);
}

// Sum of squares of the samples, each shifted first (left for a negative count). Wraps in 64 bits.
inline int64_t energy(const int32_t *x, int n, int shift_right_by) {
  int64_t sum = 0;
  for (int k = 0; k < n; k++) {
    const int64_t v =
        shift_right_by < 0 ? int64_t{x[k]} << -shift_right_by : int64_t{x[k]} >> shift_right_by;
    sum = wrap_add64(sum, wrap_mul64(v, v));
  }
  return sum;
}

template <typename Policy>
void run_pitch_filter(pitch_filter *filter, const int32_t *x, int n, int32_t *y) {
  pitch_scratch scratch;
  filter_pole_1_tap_interp<typename Policy::pitch_rounding>(
      x, filter->lag, filter->gain_q3, filter->fraction, filter->history, n, true, scratch, y);
}

// Replaces p by its smoothed form, brought back to the energy of p.
template <typename Policy, typename State>
void smooth_pitch(State *state, int n, int32_t *p) {
  int32_t q[kMaxSubframe];
  const int16_t gain_q3 = state->pitch.gain_q3;
  state->smoothing.lag = state->pitch.lag;
  state->smoothing.fraction = state->pitch.fraction;
  state->smoothing.gain_q3 = static_cast<int16_t>(gain_q3 > 8 ? 4 : gain_q3 >> 1);
  run_pitch_filter<Policy>(&state->smoothing, p, n, q);

  const int64_t wanted = energy(p, n, -Policy::kMatchBits);
  const int64_t smoothed = energy(q, n, 6);
  const int64_t gain = wanted != 0 && smoothed != 0 ? integer_sqrt(wanted / smoothed) : 0;
  for (int k = 0; k < n; k++) p[k] = low32(((q[k] >> 6) * gain) >> Policy::kMatchBits);
}

// A(z / 0.625) / A(z / 0.775) and the last stage, from y into f.
template <typename State>
void short_term_postfilter(State *state, const int32_t *a, const int32_t *y, int n, int32_t *f) {
  constexpr int32_t kPole_q14[kLpcOrder] = {12697, 9839, 7624, 5908, 4578,
                                            3547,  2748, 2129, 1649, 1277};
  constexpr int32_t kZero_q14[kLpcOrder] = {10240, 6400, 4000, 2500, 1562, 976, 610, 381, 238, 148};
  for (int i = 0; i < kLpcOrder; i++) {
    state->post_pole.coefficients[i] = low32((product(a[i], kPole_q14[i]) + 8192) >> 14);
    state->post_zero.coefficients[i] = low32((8192 - product(a[i], kZero_q14[i])) >> 14);
  }
  lpc_scratch scratch;
  kelp_filter_zero(y, state->post_zero.memory, state->post_zero.coefficients, n, true, scratch, f);
  kelp_filter_pole(f, state->post_pole.memory, state->post_pole.coefficients, n, true, scratch, f);
  state->last_stage.run(f, n);
}

// Brings f to the level of y, which it replaces. One gain serves the subframe.
template <typename Policy, typename State>
void control_gain(State *state, const int32_t *f, int n, int32_t *y) {
  const int64_t wanted = energy(y, n, -Policy::kControlBits);
  const int64_t filtered = energy(f, n, 8);
  if (wanted != 0 && filtered != 0) {
    const int64_t ratio = integer_sqrt(wanted / filtered);
    const int64_t sum = state->control_gain_q14 * 15360 + (ratio << (16 - Policy::kControlBits));
    state->control_gain_q14 = static_cast<int16_t>(sum >> 14);
  }
  for (int k = 0; k < n; k++) y[k] = low32((int64_t{f[k] >> 8} * state->control_gain_q14) >> 6);
}

// One subframe.
//   records  one per codebook subframe; the first one's seed is advanced at rates 1 and 2
//   output   n samples, Q12; not touched in analysis mode
//   n, c     samples (20 or 40, in analysis mode 10 too) and codebook subframes in them
template <typename Policy, typename State>
void synthesize_subframe(int32_t rate, State *state, const subframe_coefficients &coefficients,
                         const pitch_parameters &pitch, codebook_record *records, int32_t *output,
                         synthesis_mode mode, int n, int c) {
  int32_t p[kMaxSubframe];
  make_excitation(rate, records, &state->noise_fir, Policy::kFirShift, n, c, p);

  state->pitch.lag = pitch.lag;
  state->pitch.fraction = pitch.fraction;
  state->pitch.gain_q3 = pitch.gain_q3;
  run_pitch_filter<Policy>(&state->pitch, p, n, p);

  lpc_scratch scratch;
  std::copy_n(coefficients.expanded, kLpcOrder, state->formant.coefficients);
  if (mode == synthesis_mode::analysis) {
    std::copy_n(coefficients.weighted, kLpcOrder, state->weighted.coefficients);
    kelp_filter_pole(p, state->weighted.memory, state->weighted.coefficients, n, true, scratch,
                     state->weighted_output);
    return;
  }

  if constexpr (Policy::kSmoothing) smooth_pitch<Policy>(state, n, p);
  kelp_filter_pole(p, state->formant.memory, state->formant.coefficients, n, true, scratch, output);
  if constexpr (Policy::kPostfilter) {
    int32_t filtered[kMaxSubframe];
    short_term_postfilter(state, coefficients.expanded, output, n, filtered);
    control_gain<Policy>(state, filtered, n, output);
  }
}

}  // namespace kelp

#endif  // KELP_COMMON_SYNTHESIS_H
