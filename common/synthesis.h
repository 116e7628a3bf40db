// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// Synthesis of one subframe: excitation, long-term synthesis, its smoothing, formant synthesis,
// postfilter, gain control. Decoder and encoder run this one body; a policy names what differs:
//
//   kPitchRounding   how half-sample lags are rounded
//   kMatchBits       bits kept by the gain that restores the energy after smoothing
//   kControlBits     the same of the gain control
//   kFirShift        Q format of the quarter-rate noise filter's taps
//   kSmoothing, kPostfilter   false leaves a stage out, for measurements
#ifndef KELP_COMMON_SYNTHESIS_H
#define KELP_COMMON_SYNTHESIS_H

#include <array>
#include <bit>
#include <cstdint>

#include "common/excitation.h"
#include "common/filter_kernels.h"
#include "common/filters.h"
#include "common/lsp.h"
#include "common/wrapping.h"

namespace kelp {

struct pitch_parameters {
  int32_t lag;       // samples
  int32_t fraction;  // 0, or 2: half a sample more
  int16_t gain_q3;   // 8 = 1.0
};

// The postfilter's last stage: a first-order all-pole filter that lifts the upper band.
struct brightening_filter {
  int32_t memory;
  int32_t coefficient_q14;
};

// Every memory of synthesis, kept from subframe to subframe.
struct synthesis_state {
  const filter_kernels *kernels;  // chosen when the handle is created
  lpc_memory formant;
  pitch_filter pitch;      // keeps the last subframe's parameters for concealment too
  pitch_filter smoothing;  // second, weaker long-term filter
  lpc_memory post_pole;
  brightening_filter last_stage;
  int16_t control_gain_q14;  // gain control, starts at 16384
  fir_filter<kNoiseTaps> noise_fir;
};

// Entry i is the root of 256 (i + 64) and what lies above it up to the next entry, within 1.
consteval std::array<uint8_t, 192> make_roots() {
  std::array<uint8_t, 192> table{};
  uint32_t root = 128;
  for (uint32_t i = 0; i < table.size(); i++) {
    while ((root + 1) * (root + 1) <= 256 * (i + 64) + 255) root++;
    table[i] = static_cast<uint8_t>(root);
  }
  return table;
}
inline constexpr auto kRoots = make_roots();

// floor(sqrt(x)), at most 65535; 0 for negative x.
inline int32_t integer_sqrt(int64_t x) {
  if (x <= 0) return 0;
  if (x >> 32 != 0) return 65535;
  // One step of Newton's method on 2^30 .. 2^32 - 1, from 8 bits of root to 16 of them or one more.
  const int zeros = std::countl_zero(static_cast<uint32_t>(x)) & ~1;
  const uint32_t normal = static_cast<uint32_t>(x) << zeros;
  const uint32_t guess = kRoots[(normal >> 24) - 64];
  uint32_t root = (guess << 7) + (normal >> 9) / guess;
  if (uint64_t{root} * root > normal) root--;
  return static_cast<int32_t>(root >> (zeros / 2));
}

// Sum of squares of the samples. Wraps in 64 bits.
inline int64_t energy(const int32_t *x, int n) {
  int64_t sum = 0;
  for (int k = 0; k < n; k++) sum = wrap_add64(sum, product(x[k], x[k]));
  return sum;
}

// The energy of samples shifted left by `up` bits, from their own. Wraps as well.
inline int64_t energy_shifted_up(int64_t energy, int up) {
  return wrap_mul64(energy, int64_t{1} << (2 * up));
}

template <typename Policy>
void run_pitch_filter(const filter_kernels &kernels, pitch_filter *filter, const int32_t *x, int n,
                      int32_t *y) {
  kernels.pitch(x, filter->lag, filter->gain_q3, filter->fraction, Policy::kPitchRounding,
                filter->history, n, true, y);
}

// Replaces p by its smoothed form, brought back to the energy of p.
template <typename Policy>
void smooth_pitch(synthesis_state *state, int n, int32_t *p) {
  int32_t q[kMaxSubframe];
  const int16_t gain_q3 = state->pitch.gain_q3;
  state->smoothing.lag = state->pitch.lag;
  state->smoothing.fraction = state->pitch.fraction;
  state->smoothing.gain_q3 = static_cast<int16_t>(gain_q3 > 8 ? 4 : gain_q3 >> 1);
  const filter_kernels &kernels = *state->kernels;
  run_pitch_filter<Policy>(kernels, &state->smoothing, p, n, q);

  const int64_t wanted = energy_shifted_up(kernels.energy(p, n, 0), Policy::kMatchBits);
  const int64_t smoothed = kernels.energy(q, n, 6);
  const int32_t gain = wanted != 0 && smoothed != 0 ? integer_sqrt(wanted / smoothed) : 0;
  kernels.scale(q, n, 6, gain, Policy::kMatchBits, p);
}

// Formant synthesis from p into y; A(z / 0.625) / A(z / 0.775) and the last stage from there take
// p's place.
inline void synthesize_and_postfilter(synthesis_state *state, const int32_t *a, int32_t *p, int n,
                                      int32_t *y) {
  constexpr int32_t kPole_q14[kLpcOrder] = {12697, 9839, 7624, 5908, 4578,
                                            3547,  2748, 2129, 1649, 1277};
  constexpr int32_t kZero_q14[kLpcOrder] = {10240, 6400, 4000, 2500, 1562, 976, 610, 381, 238, 148};
  int32_t pole[kLpcOrder];
  int32_t zero[kLpcOrder];
  for (int i = 0; i < kLpcOrder; i++) {
    pole[i] = low32((product(a[i], kPole_q14[i]) + 8192) >> 14);
    zero[i] = low32((8192 - product(a[i], kZero_q14[i])) >> 14);
  }
  state->kernels->short_term(p,
                             {a, zero, pole, state->formant, state->post_pole,
                              state->last_stage.coefficient_q14, &state->last_stage.memory},
                             n, y, p);
}

// Brings f to the level of y, which it replaces. One gain serves the subframe.
template <typename Policy>
void control_gain(synthesis_state *state, const int32_t *f, int n, int32_t *y) {
  const filter_kernels &kernels = *state->kernels;
  const int64_t wanted = energy_shifted_up(kernels.energy(y, n, 0), Policy::kControlBits);
  const int64_t filtered = kernels.energy(f, n, 8);
  if (wanted != 0 && filtered != 0) {
    const int64_t ratio = integer_sqrt(wanted / filtered);
    const int64_t sum = state->control_gain_q14 * 15360 + (ratio << (16 - Policy::kControlBits));
    state->control_gain_q14 = static_cast<int16_t>(sum >> 14);
  }
  kernels.scale(f, n, 8, state->control_gain_q14, 6, y);
}

// One subframe.
//   records  one per codebook subframe; the first one's seed is advanced at rates 1 and 2
//   weighted memory of the weighted filter: long-term synthesis and that filter only, to keep their
//            memories for the encoder's search; null: all of it
//   output   n samples, Q12; not touched with `weighted`
//   n, c     samples (20 or 40, with `weighted` 10 too) and codebook subframes in them
template <typename Policy>
void synthesize_subframe(int32_t rate, synthesis_state *state,
                         const subframe_coefficients &coefficients, const pitch_parameters &pitch,
                         codebook_record *records, int32_t *weighted, int32_t *output, int n,
                         int c) {
  const filter_kernels &kernels = *state->kernels;
  int32_t p[kMaxSubframe];
  make_excitation(kernels, rate, records, &state->noise_fir, Policy::kFirShift, n, c, p);

  state->pitch.lag = pitch.lag;
  state->pitch.fraction = pitch.fraction;
  state->pitch.gain_q3 = pitch.gain_q3;
  run_pitch_filter<Policy>(kernels, &state->pitch, p, n, p);

  if (weighted != nullptr) {
    kernels.pole(p, weighted, coefficients.weighted, n, true, p);
    return;
  }

  if constexpr (Policy::kSmoothing) smooth_pitch<Policy>(state, n, p);
  if constexpr (Policy::kPostfilter) {
    synthesize_and_postfilter(state, coefficients.expanded, p, n, output);
    control_gain<Policy>(state, p, n, output);
  } else {
    kernels.pole(p, state->formant, coefficients.expanded, n, true, output);
  }
}

}  // namespace kelp

#endif  // KELP_COMMON_SYNTHESIS_H
