// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// Pitch search: every integer lag by a fine error, then every lag and half lag by a coarse one.

#include <algorithm>
#include <bit>
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

// Scores of lags, formed when they are needed, by lag - kFirstLag.
class lag_scorer {
 public:
  // cppcheck-suppress uninitMemberVar ; known_ tells which scores there are
  lag_scorer(const encoder_kernels &kernels, const int32_t *target, const int32_t *h,
             const int32_t *past)
      : kernels_(kernels), target_(target), h_(h), past_(past) {}

  // Scores what is missing between two lags. Called from several places, and for few lags.
  [[gnu::noinline]] void need(int first, int last) {
    while (first <= last && known(first)) first++;
    while (first <= last && known(last)) last--;
    if (first > last) return;
    kernels_.subframe->score_lags(target_, h_, past_, first + kFirstLag, last + kFirstLag,
                                  &scores_);
    for (int i = first; i <= last; i++) known_[i / 64] |= uint64_t{1} << (i % 64);
  }

  [[nodiscard]] pitch_candidate whole(int i) const {
    return {i + kFirstLag, 0, scores_.exy[i], scores_.eyy[i]};
  }
  // Half a sample after lag i.
  [[nodiscard]] pitch_candidate half(int i) const {
    const int64_t *const exy = scores_.exy;
    const int32_t *const eyy = scores_.eyy;
    const int64_t half_exy =
        (near_tap(exy[i]) + near_tap(exy[i + 1]) + far_tap(exy[i - 1]) + far_tap(exy[i + 2])) >> 14;
    const auto half_eyy = static_cast<int32_t>((int64_t{eyy[i]} + eyy[i + 1]) >> 1);
    return {i + kFirstLag, 2, half_exy, half_eyy};
  }

 private:
  [[nodiscard]] bool known(int i) const { return (known_[i / 64] >> (i % 64) & 1) != 0; }

  const encoder_kernels &kernels_;
  const int32_t *target_, *h_, *past_;
  uint64_t known_[(kLags + 63) / 64] = {};  // a bit a lag
  lag_scores scores_;
};

void rule_nothing_out(lag_bounds *bounds) {
  std::fill_n(bounds->whole, kPickedLags, std::numeric_limits<float>::infinity());
  std::fill_n(bounds->half, kPickedLags, std::numeric_limits<float>::infinity());
}

// Calls consider(lag - kFirstLag) for the lags that are marked.
template <typename Function>
void for_each_marked(const uint64_t (&marked)[kPickedSets], const Function &consider) {
  for (int set = 0; set < kPickedSets; set++) {
    for (uint64_t left = marked[set]; left != 0; left &= left - 1) {
      consider(64 * set + std::countr_zero(left));
    }
  }
}

// Takes the marks off the lags beyond kMinLag and kMaxLag, which may not be chosen.
void leave_allowed(uint64_t (&marked)[kPickedSets]) {
  constexpr int kFirst = kMinLag - kFirstLag, kLast = kMaxLag - kFirstLag;
  static_assert(kFirst < 64 && kLast / 64 == kPickedSets - 1);
  marked[0] &= ~uint64_t{0} << kFirst;
  marked[kPickedSets - 1] &= ~uint64_t{0} >> (63 - kLast % 64);
}

}  // namespace

pitch_candidate search_pitch(const encoder_kernels &kernels, const int32_t target[kPitchSubframe],
                             const int32_t h[kImpulseResponse], const int32_t *history) {
  const int32_t *const past = history + kPitchHistory;
  const int32_t ex = low32(energy(target, kPitchSubframe) >> 28);
  lag_bounds bounds;
  kernels.subframe->bound_lags(target, h, past, &bounds);
  lag_scorer scorer(kernels, target, h, past);
  search_state state(ex);
  float hopeless = state.hopeless;
  if (bounds.likeliest == kNoLag) {
    scorer.need(0, kLags - 1);
    rule_nothing_out(&bounds);
  } else {
    // What this lag explains rules out nearly all others. Its neighbours are scored with it, for
    // the half lags on either side.
    scorer.need(std::max(bounds.likeliest - 2, 0), std::min(bounds.likeliest + 2, kLags - 1));
    search_state first(ex);
    consider_finely(&first, scorer.whole(bounds.likeliest));
    hopeless = first.hopeless;
  }
  uint64_t worthy[kPickedSets];
  kernels.frame->pick_lags(bounds, hopeless, worthy);
  leave_allowed(worthy);

  for_each_marked(worthy, [&](int i) {
    if (bounds.whole[i] < std::max(hopeless, state.hopeless)) return;
    scorer.need(i, i);
    consider_finely(&state, scorer.whole(i));
  });
  // The best fine error stands against the coarse ones.
  for_each_marked(worthy, [&](int i) {
    if (bounds.whole[i] >= state.hopeless) {
      scorer.need(i, i);
      consider_coarsely(&state, scorer.whole(i));
    }
    if (i > kMaxHalfLag - kFirstLag || bounds.half[i] < state.hopeless) return;
    scorer.need(i - 1, i + 2);
    consider_coarsely(&state, scorer.half(i));
  });
  if (state.best.eyy < 0) return {};
  return state.best;
}

int32_t pitch_gain_q14(const pitch_candidate &candidate) {
  const int64_t divisor = (int64_t{candidate.eyy} + 4) >> 3;
  if (divisor <= 0) return 0;
  return wrap_shl(low32(candidate.exy / divisor), 4);
}

}  // namespace kelp
