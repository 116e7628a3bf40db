// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// What encoder and decoder share about line spectral pairs (LSPs): ten frequencies in Q16 of the
// sampling rate, 32768 being half of it, and their conversion to prediction coefficients.
#ifndef KELP_COMMON_LSP_H
#define KELP_COMMON_LSP_H

#include <cstdint>

#include "common/filters.h"
#include "common/wrapping.h"

namespace kelp {

// Predicted LSPs (eighth rate, concealment) keep 0.01 of the sampling rate apart, below 0.49 of it.
inline constexpr int32_t kMinLspSpacing = 655;
inline constexpr int32_t kMaxLsp = 32113;
// One eighth-rate step of an LSP.
inline constexpr int32_t kLspStep = 655;
// Decay of the LSP predictor per frame, 0.90625 in Q15.
inline constexpr int32_t kLspDecay_q15 = 29696;
// From this many eighth-rate frames before a frame on, its LSPs are smoothed strongly.
inline constexpr int32_t kLongEighthRateRun = 10;

// The split codebooks: pairs of steps, 32 bits of indices in all.
inline constexpr int kLspSplits = 5;
inline constexpr int kLspSplitSize[kLspSplits] = {64, 128, 128, 64, 64};

// Prediction coefficients of one interpolation subframe: the bandwidth-expanded set that synthesis
// runs, and the same weighted for the perceptual filter. Q14; the synthesis filter is
// 1 / (1 - sum of a_i z^-i).
struct subframe_coefficients {
  int32_t expanded[kLpcOrder];
  int32_t weighted[kLpcOrder];
};

// Pushes LSPs apart: up from below, down to the ceiling, down from above. The floor of the first
// pass is not applied again after the last.
void space_lsps(int32_t lsp[kLpcOrder]);

// LSP to LPC from the cosines of the ten (interpolated) LSPs in Q24.
void cosines_to_lpc(const int32_t cosine[kLpcOrder], int32_t lpc_q14[kLpcOrder]);

// Widens the formant bandwidths: coefficient k times 0.98828125^(k + 1).
void expand_bandwidth(int32_t lpc_q14[kLpcOrder]);

// The expanded set times powers of a weighting factor: each power is the one before times the
// factor, truncated at `q` bits, which is also the format of the factor.
void weight_coefficients(subframe_coefficients *set, int32_t factor, int q);

}  // namespace kelp

#endif  // KELP_COMMON_LSP_H
