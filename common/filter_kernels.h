// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// The inner loops of filters and synthesis, once per instruction set. All of them give the same
// bits; the plain ones (filter_kernels.cpp) define them.
//
// Every term of a filter's sum is a 64-bit product that is shifted by itself and added in 32 bits:
// no rounding, no saturation. Truncating the sum instead would change bits; the order in which
// terms are added does not matter.
//
// Memories hold the oldest sample first. With `update` set the memory is taken anew from the end
// of the run; without, the run leaves no trace, so that a search can try things. y may be x.
//
// The files of instruction sets include this, the public header, and nothing else of the library:
// of an inline function that several files share, the copy kept might be one that not every
// processor can run.
#ifndef KELP_COMMON_FILTER_KERNELS_H
#define KELP_COMMON_FILTER_KERNELS_H

#include <cstdint>

#include "common/cpu.h"

namespace kelp {

inline constexpr int kLpcOrder = 10;
inline constexpr int kMaxRun = 160;      // longest run of a tenth-order filter, samples
inline constexpr int kMaxSubframe = 40;  // longest run of the others
// Longest lag 143, the interpolator's reach, half a sample.
inline constexpr int kPitchHistory = 150;

// How the contribution of a half-sample lag is rounded.
enum class pitch_rounding : uint8_t {
  each_term,  // the decoder: every term floored
  sum,        // the encoder: a cut at bit 12, then towards zero
};

// Coefficients of the subframes that have their own: number i of set s at [i][s].
inline constexpr int kSets = 4;
using coefficient_sets = int32_t[kLpcOrder][kSets];

inline constexpr int kImpulseResponse = 20;  // taps of the weighted synthesis filter that count

// One codebook subframe. Rates 1 and 2 use the seed of a call's first record only.
struct codebook_record {
  int32_t gain_q16;  // signed
  int32_t gain_code;
  int32_t sign;   // 1: negative
  int32_t index;  // 0 .. 127, where the circular codebook is entered
  int32_t seed;   // 16 bits
};

// Formant filter, the postfilter's zeros, its poles, and one more pole: coefficients in Q14 and
// memories, which are renewed. The zeros' memory is the formant filter's.
enum short_term_filter { kFormant, kZeros, kBright, kPoles };
struct short_term_filters {
  const coefficient_sets *lpc;
  // The coefficients of kFormant, kZeros and kPoles are these times lpc, rounded. kFormant has 1.0
  // throughout, kBright has 0.
  const int32_t (*weights_q14)[4];
  int32_t *formant_memory, *pole_memory;
  int32_t bright_q14;
  int32_t *bright_memory;  // the last output of all
};
// Words before a run through them that may be written to, and behind it that are read.
inline constexpr int kRoomBefore = 168;
inline constexpr int kRoomBehind = 8;

struct filter_kernels {
  // y[k] = x[k] + sum of (a_i * x[k - 1 - i]) >> 14, i = 0 .. 9, k = 0 .. n - 1; n up to kMaxRun.
  // `memory` holds kLpcOrder inputs, a is Q14.
  void (*zero)(const int32_t *x, int32_t *memory, const int32_t *a, int n, bool update, int32_t *y);

  // y[k] = x[k] + sum of (a_i * y[k - 1 - i]) >> 14; `memory` holds outputs.
  void (*pole)(const int32_t *x, int32_t *memory, const int32_t *a, int n, bool update, int32_t *y);

  // Formant synthesis and its postfilter, in place: y = pole(x), then z = pole(zero(y)) through the
  // last pole, z[k] += (bright * z[k - 1]) >> 14. The energies are those of y, as energy() has
  // them.
  //   subframes, n  n = 10 to 160 samples each, 160 in all at most
  //   sets          1, or one for each subframe
  void (*short_term)(int32_t *x, const short_term_filters &filters, int subframes, int n, int sets,
                     int64_t *energies);

  // Long-term synthesis with one tap: y[k] = x[k] + gain * y[k - lag - fraction].
  //   lag       0 .. 143 with fraction 0, else 17 .. 143; lags below n repeat the new excitation
  //   gain_q3   8 = 1.0
  //   fraction  quarter samples; only its sign matters: above 0 is half a sample more than lag
  //   history   kPitchHistory outputs
  //   n         up to kMaxSubframe
  void (*pitch)(const int32_t *x, int32_t lag, int32_t gain_q3, int32_t fraction,
                pitch_rounding rounding, int32_t *history, int n, bool update, int32_t *y);

  // The same in place, the history in front of s.
  void (*pitch_on)(int32_t *s, int32_t lag, int32_t gain_q3, int32_t fraction,
                   pitch_rounding rounding, int n);

  // Sum of (x[k] >> down)^2; wraps in 64 bits.
  int64_t (*energy)(const int32_t *x, int n, int down);

  // y[k] = ((x[k] >> down) * gain) >> shift, the low 32 bits of it; shift up to 32.
  void (*scale)(const int32_t *x, int n, int down, int32_t gain, int shift, int32_t *y);

  // e[k] = (gain * codebook[(k - index) mod 128]) >> 15.
  void (*codebook)(const int16_t *codebook, int32_t index, int32_t gain, int n, int32_t *e);

  // The same for c records, m samples each, from a circular_codebook.
  void (*codebooks)(const int16_t *codebook, const codebook_record *records, int m, int c,
                    int32_t *e);

  // e[k] = (noise * 11 * gain + 2^19) >> 20, n up to kMaxSubframe, where the noise is the signed
  // seed after k + 1 steps of next_seed. Returns the last one.
  int32_t (*noise)(int32_t seed, int32_t gain_q16, int n, int32_t *e);

  // pcm[k] = x[k] >> 12, saturated.
  void (*to_pcm)(const int32_t *x_q12, int n, int16_t *pcm);

  // Four sets of prediction coefficients (Q14), their bandwidth expanded, from LSPs (Q16): set s
  // from (weights[s] * lsp + (8 - weights[s]) * previous_lsp) / 8.
  void (*lpc)(const int32_t *previous_lsp, const int32_t *lsp, const int16_t *weights,
              coefficient_sets *lpc_q14);

  // The first kImpulseResponse samples of what pole() makes of an impulse of 1.0, from rest, in
  // Q14: y[k][s] with set s.
  void (*impulses)(const coefficient_sets &a, int32_t (*y)[kSets]);
};

extern const filter_kernels kPlainFilterKernels;
extern const filter_kernels kAvx2FilterKernels;  // x86-64
extern const filter_kernels kNeonFilterKernels;  // arm64

// The fastest ones that the instruction set can run.
const filter_kernels &filter_kernels_for(instruction_set set);

}  // namespace kelp

#endif  // KELP_COMMON_FILTER_KERNELS_H
