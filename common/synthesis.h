// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// Synthesis: excitation, long-term synthesis, its smoothing, formant synthesis, postfilter, gain
// control, each over all subframes of a frame before the next. Decoder and encoder run this one
// body; a policy names what differs.
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

// What differs between those who synthesize.
struct synthesis_policy {
  pitch_rounding rounding;     // of half-sample lags
  int match_bits;              // kept by the gain that restores the energy after smoothing
  int control_bits;            // the same of the gain control
  int fir_shift;               // Q format of the quarter-rate noise filter's taps
  bool smoothing, postfilter;  // false leaves a stage out, for measurements
};

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
  const uint32_t root = (guess << 7) + (normal >> 9) / guess;
  const auto too_large = static_cast<uint32_t>(uint64_t{root} * root > normal);
  return static_cast<int32_t>((root - too_large) >> (zeros / 2));
}

// Sum of squares of the samples. Wraps in 64 bits.
inline int64_t energy(const int32_t *x, int n) {
  int64_t sum = 0;
  for (int k = 0; k < n; k++) sum = wrap_add64(sum, product(x[k], x[k]));
  return sum;
}

inline constexpr int kMostSubframes = 8;

// What a frame is made from.
struct synthesis_parameters {
  int32_t rate;
  int subframes, n, c;  // subframes of n samples (20 or 40), in c codebook subframes each
  int sets;             // of prediction coefficients: one for all subframes, or one for each
  coefficient_sets lpc_q14;
  pitch_parameters pitch[kMostSubframes];
  codebook_record records[16];  // c for each subframe; the first one's seed is advanced
};

// A whole frame's subframes, and whether each has its own coefficients.
inline void set_shape(synthesis_parameters *frame, int32_t rate, int subframes, int c, int sets) {
  frame->rate = rate;
  frame->subframes = subframes;
  frame->n = KELP_FRAME_SAMPLES / subframes;
  frame->c = c;
  frame->sets = sets;
}

// A frame's samples, and in front of them the history of the long-term filter at work.
struct synthesis_buffer {
  static_assert(kRoomBefore >= kPitchHistory && kRoomBefore % 8 == 0);
  alignas(32) int32_t words[kRoomBefore + KELP_FRAME_SAMPLES + kRoomBehind];

  int32_t *samples() { return words + kRoomBefore; }
};

// The frame into the buffer's samples, Q12.
void synthesize_frame(const synthesis_policy &policy, synthesis_state *state,
                      synthesis_parameters *frame, synthesis_buffer *buffer);

// One subframe by itself.
//   records  one per codebook subframe; the first one's seed is advanced at rates 1 and 2
//   weighted memory of the weighted filter: long-term synthesis and that filter only, to keep their
//            memories for the encoder's search; null: all of it
//   output   n samples, Q12; not touched with `weighted`
//   n, c     samples (20 or 40, with `weighted` 10 too) and codebook subframes in them
void synthesize_subframe(const synthesis_policy &policy, int32_t rate, synthesis_state *state,
                         const subframe_coefficients &coefficients, const pitch_parameters &pitch,
                         codebook_record *records, int32_t *weighted, int32_t *output, int n,
                         int c);

// The same with a policy of constants.
template <typename Policy>
inline constexpr synthesis_policy kPolicy = {Policy::kPitchRounding, Policy::kMatchBits,
                                             Policy::kControlBits,   Policy::kFirShift,
                                             Policy::kSmoothing,     Policy::kPostfilter};
template <typename Policy, typename... Arguments>
void synthesize_subframe(const Arguments &...arguments) {
  synthesize_subframe(kPolicy<Policy>, arguments...);
}

}  // namespace kelp

#endif  // KELP_COMMON_SYNTHESIS_H
