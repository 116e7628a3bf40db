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
// the candidate explains of it. A candidate is worth a division only if it could explain more than
// the best one so far, which a product tells: q / d > bar exactly if q >= (bar + 1) * d.

struct search_state {
  int32_t eight_ex;
  int32_t best_error;
  pitch_candidate best;
  float hopeless;  // a bound below this is below the bar, roundings included

  search_state(int32_t ex) : eight_ex(wrap_mul(8, ex)), best_error(wrap_mul(12, ex)), best{} {
    set_hopeless();
  }

  // What a candidate must explain more than.
  [[nodiscard]] int64_t bar() const { return int64_t{eight_ex} - best_error; }

  void consider(int32_t error, const pitch_candidate &candidate) {
    if (error >= best_error) return;
    best_error = error;
    best = candidate;
    set_hopeless();
  }

  // Where errors could wrap, what is explained is beyond this.
  void set_hopeless() {
    constexpr float kMost = 1073741824.0F;
    hopeless = std::min((static_cast<float>(bar()) - 2) * (1.0F - 1.0F / (1 << 16)), kMost);
  }
};

void consider_finely(search_state *state, const pitch_candidate &candidate) {
  if (candidate.exy <= 0) return;
  if (candidate.eyy < kLeastEnergy) return state->consider(state->eight_ex, candidate);
  const int64_t scaled = candidate.exy / 128;
  const int64_t square = wrap_mul64(128, wrap_mul64(scaled, scaled) / 128);
  const int64_t bar = state->bar();  // 34 bits, the energy has 31
  if (square >= 0 && bar >= 0 && square < (bar + 1) * candidate.eyy) return;
  state->consider(low32(wrap_sub64(state->eight_ex, square / candidate.eyy)), candidate);
}

void consider_coarsely(search_state *state, const pitch_candidate &candidate) {
  if (candidate.exy <= 0) return;
  if (candidate.eyy < kLeastEnergy) return state->consider(state->eight_ex, candidate);
  const int64_t scaled = candidate.exy / 128;
  const auto square =
      static_cast<uint32_t>(static_cast<uint64_t>(wrap_mul64(scaled, scaled)) >> 31);
  // Times the truncated reciprocal is never more than times 2^31 / eyy.
  const int64_t bar = state->bar();
  const bool bar_is_word = bar >= 0 && bar <= std::numeric_limits<int32_t>::max();
  if (bar_is_word && int64_t{square} << 31 < (bar + 1) * candidate.eyy) return;
  const uint32_t explained = square * (0x80000000U / static_cast<uint32_t>(candidate.eyy));
  state->consider(wrap_sub(state->eight_ex, static_cast<int32_t>(explained)), candidate);
}

// The four taps of the correlation half a sample after a lag, each product cut at bit 10.
int64_t near_tap(int64_t exy) {
  return wrap_mul64(exy, 9116553) >> 10;
}
int64_t far_tap(int64_t exy) {
  return wrap_mul64(exy, -521384) >> 10;
}

}  // namespace

pitch_candidate search_pitch(const encoder_kernels &kernels, const int32_t target[kPitchSubframe],
                             const int32_t h[kImpulseResponse], const int32_t *history) {
  lag_scores scores;
  kernels.correlate_lags(target, h, history + kPitchHistory, &scores);
  const int64_t *const exy = scores.exy;
  const int32_t *const eyy = scores.eyy;
  const int32_t ex = low32(energy(target, kPitchSubframe) >> 28);
  search_state state(ex);
  lag_bounds bounds;
  kernels.bound_lags(scores, &bounds);

  for (int32_t lag = kMinLag; lag <= kMaxLag; lag++) {
    const int i = lag - kFirstLag;
    if (bounds.whole[i] >= state.hopeless) consider_finely(&state, {lag, 0, exy[i], eyy[i]});
  }
  // The best fine error stands against the coarse ones.
  for (int32_t lag = kMinLag; lag <= kMaxLag; lag++) {
    const int i = lag - kFirstLag;
    if (bounds.whole[i] >= state.hopeless) {
      consider_coarsely(&state, {lag, 0, exy[i], eyy[i]});
    }
    if (lag > kMaxHalfLag || bounds.half[i] < state.hopeless) continue;
    const int64_t half_exy =
        (near_tap(exy[i]) + near_tap(exy[i + 1]) + far_tap(exy[i - 1]) + far_tap(exy[i + 2])) >> 14;
    const auto half_eyy = static_cast<int32_t>((int64_t{eyy[i]} + eyy[i + 1]) >> 1);
    consider_coarsely(&state, {lag, 2, half_exy, half_eyy});
  }
  if (state.best.eyy < 0) return {};
  return state.best;
}

int32_t pitch_gain_q14(const pitch_candidate &candidate) {
  const int64_t divisor = (int64_t{candidate.eyy} + 4) >> 3;
  if (divisor <= 0) return 0;
  return wrap_shl(low32(candidate.exy / divisor), 4);
}

}  // namespace kelp
