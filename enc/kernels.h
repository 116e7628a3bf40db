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
#include "kelp.h"

namespace kelp {

inline constexpr int kPitchSubframe = 40;
inline constexpr int kImpulseResponse = 20;  // taps of the weighted synthesis filter that count
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

// Correlation with the target and energy of the past excitation, filtered, at lags kFirstLag ..
// kLastLag.
struct lag_scores {
  int64_t exy[kLags];
  int32_t eyy[kLags];
};

// Ten samples of each of a codebook's 128 candidates, as the weighted synthesis filter leaves them.
// They serve every codebook subframe that has the same filter. Candidates stand in reverse, as
// their samples do in the codebook: number i at place -i & 127.
struct filtered_codebook {
  static constexpr int kSamples = 10;
  int32_t y[kSamples][kCodebook];
  int32_t energy[kCodebook];  // sum of y * y >> 14, in 32-bit words
  float *inverse;             // 1 / energy, about; kept elsewhere to spare the stack
};

// The most that a lag can explain of the target, about: no less than it does, with a tolerance of
// one in 2^18. Beside it the same of the half lag above it.
struct lag_bounds {
  float whole[kLags];
  float half[kLags];
};

struct codebook_choice {
  int32_t gain_q16;  // optimal, not quantized
  int32_t index;     // 0 .. 127
};

struct encoder_kernels {
  // Scores of every lag.
  //   target   40 samples
  //   h        impulse response, Q14, h[0] = 16384
  //   past     the end of the past excitation, of which kLastLag samples are read
  void (*correlate_lags)(const int32_t *target, const int32_t *h, const int32_t *past,
                         lag_scores *scores);

  // Bounds for the lags kMinLag .. kMaxLag, by their places in `scores`; infinite ones rule nothing
  // out.
  void (*bound_lags)(const lag_scores &scores, lag_bounds *bounds);

  // The row of least distortion of a split LSP codebook, the first of those; see
  // split_distortion.
  uint32_t (*search_split)(const kelp_lsp_pair *codebook, int size, int32_t step1, int32_t step2,
                           int64_t weight1, int64_t weight2);

  // Samples first .. first + 9 of the filtered candidates, `first` being 0, or the next ten after
  // those in *filtered, to whose energies theirs are added.
  void (*filter_codebook)(const int16_t *codebook, const int32_t *h, int first,
                          filtered_codebook *filtered);

  // Adds the sums of y * target >> 14, in 32-bit words, of each candidate to exy.
  void (*correlate_codebook)(const filtered_codebook &filtered, const int32_t *target,
                             int32_t *exy);

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

  // The candidate of least error (the lowest number of those) and its gain.
  codebook_choice (*choose_candidate)(const filtered_codebook &filtered, const int32_t *exy);
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

extern const encoder_kernels kPlainKernels;

}  // namespace kelp

#endif  // KELP_ENC_KERNELS_H
