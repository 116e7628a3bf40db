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

// Lags on either side that only serve the half-sample interpolator.
constexpr int kFirstLag = kMinLag - 2;
constexpr int kLastLag = kMaxLag + 2;
constexpr int kLags = kLastLag - kFirstLag + 1;
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

struct lag_scores {
  int64_t exy[kLags];
  int32_t eyy[kLags];
};

// Correlations of every lag. Each lag's filtered excitation is the one before, a sample later, with
// one more sample's response.
void correlate_lags(const int32_t *target, const int32_t *h, const int32_t *history,
                    lag_scores *scores) {
  int32_t y[kPitchSubframe] = {};
  for (int lag = 1; lag <= kLastLag; lag++) {
    shift_in(y, history[kPitchHistory - lag], h, kPitchSubframe);
    if (lag < kFirstLag) continue;
    const int i = lag - kFirstLag;
    scores->exy[i] = 0;
    kelpe_calc_exy_eyy(target, y, lag, &scores->exy[i], &scores->eyy[i]);
  }
}

}  // namespace

void kelpe_recursive_conv(int32_t *y, const int32_t h[kImpulseResponse], int n) {
  if (y[0] == 0) return;
  for (int k = 1; k < std::min(n, kImpulseResponse); k++) {
    y[k] = wrap_add(y[k], low32(product(y[0], h[k]) >> 14));
  }
}

void shift_in(int32_t *y, int32_t first, const int32_t h[kImpulseResponse], int n) {
  std::copy_backward(y, y + n - 1, y + n);
  y[0] = first;
  kelpe_recursive_conv(y, h, n);
}

void kelpe_calc_exy_eyy(const int32_t target[kPitchSubframe], const int32_t y[kPitchSubframe],
                        int32_t lag, int64_t *exy, int32_t *eyy) {
  int64_t energy = 0;
  for (int n = 0; n < kPitchSubframe; n++) {
    // One repetition only, of the vector as it is without it.
    const int32_t v = n >= lag ? wrap_add(y[n], y[n - lag]) : y[n];
    *exy = wrap_add64(*exy, product(v, target[n]) >> 18);
    energy += product(v, v) >> 18;
  }
  // Held, not wrapped: a wrapped energy drives the gain of loud speech to its end.
  *eyy = static_cast<int32_t>(std::min<int64_t>(energy >> 7, std::numeric_limits<int32_t>::max()));
}

pitch_candidate search_pitch(const int32_t target[kPitchSubframe],
                             const int32_t h[kImpulseResponse], const int32_t *history) {
  lag_scores scores;
  correlate_lags(target, h, history, &scores);
  const int32_t ex = low32(energy(target, kPitchSubframe) >> 28);
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
