// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// The loops that take most of the encoder's time, as a table of functions: the plain ones, which
// define the results, or those of an instruction set, which equal them bit for bit. A table is
// chosen when an encoder is created and kept in its handle.
#ifndef KELP_ENC_KERNELS_H
#define KELP_ENC_KERNELS_H

#include <cstdint>

#include "common/cpu.h"
#include "common/filter_kernels.h"
#include "kelp.h"

namespace kelp {

inline constexpr int kPitchSubframe = 40;
inline constexpr int kMinLag = 17;
inline constexpr int kMaxLag = 143;
// Lags on either side that only serve the half-sample interpolator.
inline constexpr int kFirstLag = kMinLag - 2;
inline constexpr int kLastLag = kMaxLag + 2;
inline constexpr int kLags = kLastLag - kFirstLag + 1;
inline constexpr int kCodebook = 128;
inline constexpr int kAutocorrelations = 17;  // lags 0 .. 16
inline constexpr int kGridPoints = 201;       // frequencies at which LSP polynomials are looked at
inline constexpr int kRateFilterTaps = 17;
inline constexpr int kDecimated = KELP_FRAME_SAMPLES / 2;
inline constexpr int kFirstPeriod = 10;  // of the decimated residual, in its samples
inline constexpr int kPeriods = 50;

// Correlation with the target and energy of the past excitation, filtered, by lag - kFirstLag.
struct lag_scores {
  int64_t exy[kLags];
  int32_t eyy[kLags];
};

// A codebook's 128 candidates as the weighted synthesis filter leaves them, ten samples of each. At
// full rate they serve the four codebook subframes that have the same filter. Candidates stand in
// reverse, as their samples do in the codebook: number i at place -i & 127.
struct alignas(64) filtered_codebook {
  static constexpr int kSamples = 10;
  union numbers_of_candidates {
    int32_t energy[kCodebook];  // plain: sum of y * y >> 14, in 32-bit words
    float inverse[kCodebook];   // kernels: 1 / energy, or more
  };

  explicit filtered_codebook(numbers_of_candidates *kept) : shared(kept) {}

  union {
    int32_t exact[kSamples][kCodebook];  // plain
    float about[kSamples][kCodebook];    // kernels
  };
  numbers_of_candidates *shared;  // kept elsewhere to spare the stack

  // For the kernels, which read the response of every sample of a subframe in whole vectors of up
  // to 16 words, and a word beyond them.
  static constexpr int kResponseZeros = kPitchSubframe;
  static constexpr int kResponseRoom = (kPitchSubframe + 15) / 16 * 16 + 1;
  int32_t response[kResponseZeros + kResponseRoom];  // zeros, h, zeros
  float rounding;         // what a sample may be off by in correlations, beside what is truncated
  float slack;            // what truncation may add to what a candidate gains
  float largest_inverse;  // infinite where the word of an energy may wrap
};

// Lags from kFirstLag on, as far as they may be chosen: in whole vectors of up to 16 words, and in
// sets of 64.
inline constexpr int kPickedLags = (kMaxLag - kFirstLag + 16) / 16 * 16;
inline constexpr int kPickedSets = (kPickedLags + 63) / 64;

// The most that a lag can explain of the target (see search_pitch), and the half lag above it, by
// lag - kFirstLag.
struct lag_bounds {
  static constexpr int kEstimates = 160;  // what they are made from needs more room
  float whole[kEstimates];
  float half[kEstimates];
  int likeliest;  // the whole lag whose bound is largest, or kNoLag: no bounds, words may wrap
};
inline constexpr int kNoLag = -1;

// Ten numbers of each LSP, the LSPs side by side.
inline constexpr int kLspColumns = 16;  // of which ten are used
struct lsp_columns {
  int32_t row[10][kLspColumns] = {};
};

inline constexpr int kRing = 10;  // outputs that a tenth-order filter's memory reaches
inline constexpr int kPaddedTaps = kRing + 16;  // a vector of up to 16 words behind any tap

struct codebook_choice {
  int32_t gain_q16;  // optimal, not quantized
  int32_t index;     // 0 .. 127
};

// What runs for every subframe of speech.
struct subframe_kernels {
  // Scores of the lags first .. last, from kFirstLag to kLastLag.
  //   target   40 samples
  //   h        impulse response, Q14, h[0] = 16384
  //   past     the end of the past excitation, of which kLastLag samples are used
  void (*score_lags)(const int32_t *target, const int32_t *h, const int32_t *past, int first,
                     int last, lag_scores *scores);

  // Bounds of all lags' worth, of which few are then scored.
  void (*bound_lags)(const int32_t *target, const int32_t *h, const int32_t *past,
                     lag_bounds *bounds);

  // The filtered candidates of a codebook. h as above.
  void (*filter_codebook)(const int16_t *codebook, const int32_t *h, filtered_codebook *filtered);

  // The candidate that matches a target of ten samples best (the lowest number of those), and its
  // gain.
  codebook_choice (*search_codebook)(const int16_t *codebook, const filtered_codebook &filtered,
                                     const int32_t *target);

  // What the memory of an all-pole filter, its last ten outputs, adds to its next ten.
  //   a   Q14, ten taps and then zeros, kPaddedTaps words
  //   y   room for kPaddedTaps words
  void (*ring)(const int32_t *memory, const int32_t *a, int32_t *y);
};

// What runs about once a frame, or gains nothing from registers wider than AVX2's.
struct frame_kernels {
  // Sums of x[n] * x[n + lag] in 32-bit words. The 160 samples are followed by 16 zeros.
  void (*autocorrelate)(const int16_t *x, int32_t sums[kAutocorrelations]);

  // An LSP polynomial (see lspdct) at 0 and at the points of kLspGrid.
  void (*evaluate_grid)(const int32_t polynomial[6], int32_t values[kGridPoints]);

  // Every other output of the FIR filter, from 0 on: the sum of (tap * scratch) >> 24 over the
  // taps.
  //   scratch  16 past inputs and the frame's 160, oldest first, Q14
  //   taps     a symmetric filter's, Q24
  void (*decimate)(const int32_t *scratch, const int32_t taps[kRateFilterTaps],
                   int32_t output[kDecimated]);

  // Sums of x[n] * x[n - lag], 80 products in 32-bit words, for lags 10 .. 59. 60 samples lie
  // before x.
  void (*correlate_periods)(const int32_t *x, int32_t sums[kPeriods]);

  // Of each column, the sums of row[n] * row[n + k], wrapping in 64 bits, for k = 0 .. 9.
  void (*correlate_columns)(const lsp_columns &g, int64_t sums[10][kLspColumns]);

  // The row of least distortion of a split LSP codebook, the first of those; see
  // split_distortion.
  uint32_t (*search_split)(const kelp_lsp_pair *codebook, int size, int32_t step1, int32_t step2,
                           int64_t weight1, int64_t weight2);

  // Marks the lags of which a bound is no lower than the bar: lag - kFirstLag as a bit of sets of
  // 64, lowest first.
  void (*pick_lags)(const lag_bounds &bounds, float bar, uint64_t worthy[kPickedSets]);

  // As search_codebook for a target of forty samples, with its own filter; *filtered is room.
  codebook_choice (*search_long_codebook)(const int16_t *codebook, const int32_t *h,
                                          const int32_t *target, filtered_codebook *filtered);
};

struct encoder_kernels {
  const subframe_kernels *subframe;
  const frame_kernels *frame;
};

// Optimal gain and error of a candidate.
struct candidate_score {
  int32_t gain_q16;
  int64_t error;
};
candidate_score score_candidate(int32_t exy, int32_t eyy);
// No candidate with an error as large as this is chosen.
inline constexpr int64_t kLargestError = 16384000000000;

// Weighted square error of a row of an LSP codebook. Its second step starts where the first ends.
int64_t split_distortion(const kelp_lsp_pair &row, int32_t step1, int32_t step2, int64_t weight1,
                         int64_t weight2);

// The fastest one for these instructions.
const encoder_kernels &encoder_kernels_for(instruction_set set);

extern const subframe_kernels kPlainSubframeKernels, kAvx2SubframeKernels, kAvx512SubframeKernels,
    kNeonSubframeKernels;
extern const frame_kernels kPlainFrameKernels, kAvx2FrameKernels, kNeonFrameKernels;
extern const encoder_kernels kPlainKernels;

}  // namespace kelp

#endif  // KELP_ENC_KERNELS_H
