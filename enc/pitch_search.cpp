// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// Pitch search: every integer lag by a fine error, then every lag and half lag by a coarse one.

#include <algorithm>
#include <limits>

#include "common/wrapping.h"
#include "enc/excitation_search.h"

namespace kelp {
namespace {

constexpr int kMaxHalfLag = 139;
// Below this energy a lag has nothing to offer.
constexpr int32_t kLeastEnergy = 9;

// The search keeps score in 32-bit words that wrap; both errors start from 8 Ex and fall by what
// the candidate explains of it.
int32_t fine_error(int32_t eight_ex, int64_t exy, int32_t eyy) {
  if (eyy < kLeastEnergy) return eight_ex;
  const int64_t scaled = exy / 128;
  const int64_t explained = wrap_mul64(128, wrap_mul64(scaled, scaled) / 128) / eyy;
  return low32(wrap_sub64(eight_ex, explained));
}

int32_t coarse_error(int32_t eight_ex, int64_t exy, int32_t eyy) {
  if (eyy < kLeastEnergy) return eight_ex;
  const int64_t scaled = exy / 128;
  const uint64_t square = static_cast<uint64_t>(wrap_mul64(scaled, scaled)) >> 31;
  const uint32_t reciprocal = 0x80000000U / static_cast<uint32_t>(eyy);
  const uint32_t explained = static_cast<uint32_t>(square) * reciprocal;
  return wrap_sub(eight_ex, static_cast<int32_t>(explained));
}

// Correlation half a sample after exy[1]: four taps, each product cut at bit 10, the sum at 14
// more.
int64_t half_lag_correlation(const int64_t *exy) {
  constexpr int64_t kNear_q24 = 9116553;
  constexpr int64_t kFar_q24 = -521384;
  int64_t sum = wrap_mul64(exy[1], kNear_q24) >> 10;
  sum += wrap_mul64(exy[2], kNear_q24) >> 10;
  sum += wrap_mul64(exy[0], kFar_q24) >> 10;
  sum += wrap_mul64(exy[3], kFar_q24) >> 10;
  return sum >> 14;
}

}  // namespace

pitch_candidate search_pitch(const search_kernels &kernels, const int32_t target[kPitchSubframe],
                             const int32_t h[kImpulseResponse], const int32_t *history) {
  lag_scores scores;
  kernels.correlate_lags(target, h, history, &scores);
  const int32_t ex = low32(energy(target, kPitchSubframe, 0) >> 28);
  const int32_t eight_ex = wrap_mul(8, ex);

  pitch_candidate best = {};
  int32_t best_error = wrap_mul(12, ex);
  const auto consider = [&](int32_t error, const pitch_candidate &candidate) {
    if (error >= best_error || candidate.exy <= 0) return;
    best_error = error;
    best = candidate;
  };
  for (int32_t lag = kMinLag; lag <= kMaxLag; lag++) {
    const int i = lag - kFirstLag;
    consider(fine_error(eight_ex, scores.exy[i], scores.eyy[i]),
             {lag, 0, scores.exy[i], scores.eyy[i]});
  }
  // The best fine error stands against the coarse ones.
  for (int32_t lag = kMinLag; lag <= kMaxLag; lag++) {
    const int i = lag - kFirstLag;
    consider(coarse_error(eight_ex, scores.exy[i], scores.eyy[i]),
             {lag, 0, scores.exy[i], scores.eyy[i]});
    if (lag > kMaxHalfLag) continue;
    const int64_t exy = half_lag_correlation(scores.exy + i - 1);
    const auto eyy = static_cast<int32_t>((int64_t{scores.eyy[i]} + scores.eyy[i + 1]) >> 1);
    consider(coarse_error(eight_ex, exy, eyy), {lag, 2, exy, eyy});
  }
  if (best.eyy < 0) best = {};
  return best;
}

int32_t pitch_gain_q14(const pitch_candidate &candidate) {
  const int64_t divisor = (int64_t{candidate.eyy} + 4) >> 3;
  if (divisor <= 0) return 0;
  return wrap_shl(low32(candidate.exy / divisor), 4);
}

}  // namespace kelp
