// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// The filter kernels for NEON.

#include <arm_neon.h>
#include <cstring>

#include "common/filter_kernels.h"
#include "kelp.h"

namespace kelp {
namespace {

struct lanes {
  int32x4_t low, high;
};

// 64-bit sums of words 0 1, 2 3, 4 5 and 6 7.
struct halves {
  int64x2_t pair[4];
};

lanes load(const int32_t *p) {
  return {vld1q_s32(p), vld1q_s32(p + 4)};
}
void store(int32_t *p, lanes v) {
  vst1q_s32(p, v.low);
  vst1q_s32(p + 4, v.high);
}
// The first `count` words, 1 to 8, and zeros.
lanes load_some(const int32_t *p, int count) {
  int32_t words[8] = {};
  for (int i = 0; i < count; i++) words[i] = p[i];
  return load(words);
}
void store_some(int32_t *p, lanes v, int count) {
  int32_t words[8];
  store(words, v);
  for (int i = 0; i < count; i++) p[i] = words[i];
}
lanes spread(int32_t value) {
  return {vdupq_n_s32(value), vdupq_n_s32(value)};
}
lanes add(lanes a, lanes b) {
  return {vaddq_s32(a.low, b.low), vaddq_s32(a.high, b.high)};
}

// A word on its own: the processor's ordinary registers are quickest.
using single = int32_t;
single one(int32_t value) {
  return value;
}
int32_t value(single v) {
  return v;
}
single first(lanes v) {
  return vgetq_lane_s32(v.low, 0);
}
single add(single a, single b) {
  return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
}
// Finished before it is used: a compiler that adds in another order puts the newest term first, on
// which everything waits.
single settled(single v) {
  __asm__("" : "+r"(v));
  return v;
}
single term_14(single a, single b) {
  return static_cast<int32_t>((int64_t{a} * b) >> 14);
}

// Each word to the lane below it, 0 to the last.
lanes shift_down(lanes v) {
  return {vextq_s32(v.low, v.high, 1), vextq_s32(v.high, vdupq_n_s32(0), 1)};
}
lanes shift_right(lanes v, int count) {
  const int32x4_t by = vdupq_n_s32(-count);
  return {vshlq_s32(v.low, by), vshlq_s32(v.high, by)};
}
lanes load_16(const int16_t *p) {
  const int16x8_t v = vld1q_s16(p);
  return {vmovl_s16(vget_low_s16(v)), vmovl_high_s16(v)};
}
// Saturated.
void store_16(int16_t *p, lanes v) {
  vst1q_s16(p, vqmovn_high_s32(vqmovn_s32(v.low), v.high));
}
// (((v * gain) + 65536) >> 17) << 14
int32x4_t coarse_steps(int32x4_t v, int32x4_t gain) {
  return vshlq_n_s32(vshrq_n_s32(vmlaq_s32(vdupq_n_s32(65536), v, gain), 17), 14);
}
lanes coarse_steps(lanes v, lanes gain) {
  return {coarse_steps(v.low, gain.low), coarse_steps(v.high, gain.high)};
}

void add_products(halves *sum, lanes v, lanes w) {
  sum->pair[0] = vmlal_s32(sum->pair[0], vget_low_s32(v.low), vget_low_s32(w.low));
  sum->pair[1] = vmlal_high_s32(sum->pair[1], v.low, w.low);
  sum->pair[2] = vmlal_s32(sum->pair[2], vget_low_s32(v.high), vget_low_s32(w.high));
  sum->pair[3] = vmlal_high_s32(sum->pair[3], v.high, w.high);
}
template <int kShift>
void add_terms(halves *sum, lanes v, lanes, lanes w) {
  const int64x2_t product[4] = {
      vmull_s32(vget_low_s32(v.low), vget_low_s32(w.low)), vmull_high_s32(v.low, w.low),
      vmull_s32(vget_low_s32(v.high), vget_low_s32(w.high)), vmull_high_s32(v.high, w.high)};
  for (int i = 0; i < 4; i++) {
    if constexpr (kShift == 0) {
      sum->pair[i] = vaddq_s64(sum->pair[i], product[i]);
    } else {
      sum->pair[i] = vsraq_n_s64(sum->pair[i], product[i], kShift);
    }
  }
}
halves shift_right(halves sum, int count) {
  for (int64x2_t &pair : sum.pair) pair = vshlq_s64(pair, vdupq_n_s64(-count));
  return sum;
}
lanes low_words(halves sum) {
  return {vmovn_high_s64(vmovn_s64(sum.pair[0]), sum.pair[1]),
          vmovn_high_s64(vmovn_s64(sum.pair[2]), sum.pair[3])};
}
// (sum >> 12) / 32, towards zero: what that takes is added to negative sums first.
lanes rounded_sum(halves sum) {
  const int64x2_t most = vdupq_n_s64(31 << 12);
  for (int64x2_t &pair : sum.pair) {
    pair = vshrq_n_s64(vaddq_s64(pair, vandq_s64(vshrq_n_s64(pair, 63), most)), 17);
  }
  return low_words(sum);
}
int64_t total(halves sum) {
  return vaddvq_s64(
      vaddq_s64(vaddq_s64(sum.pair[0], sum.pair[1]), vaddq_s64(sum.pair[2], sum.pair[3])));
}

using taps = lanes;
taps make_taps(lanes a) {
  return a;
}
// (v * w) >> kShift
template <int kShift>
int32x4_t scaled(int32x4_t v, int32x4_t w) {
  const int32x2_t low = vshrn_n_s64(vmull_s32(vget_low_s32(v), vget_low_s32(w)), kShift);
  return vshrn_high_n_s64(low, vmull_high_s32(v, w), kShift);
}
template <int kShift>
lanes scaled(lanes v, lanes w) {
  return {scaled<kShift>(v.low, w.low), scaled<kShift>(v.high, w.high)};
}
// (a_i * sample) >> 14 for a sample in all lanes.
lanes terms_14(lanes sample, taps a) {
  return scaled<14>(sample, a);
}

// (v * factor) >> shift for a factor in all lanes.
int32x4_t scaled_by(int32x4_t v, int32x4_t factor, int shift) {
  const int64x2_t by = vdupq_n_s64(-shift);
  const int64x2_t low = vshlq_s64(vmull_s32(vget_low_s32(v), vget_low_s32(factor)), by);
  const int64x2_t high = vshlq_s64(vmull_high_s32(v, factor), by);
  return vuzp1q_s32(vreinterpretq_s32_s64(low), vreinterpretq_s32_s64(high));
}
lanes scaled_by(lanes v, lanes factor, int shift) {
  return {scaled_by(v.low, factor.low, shift), scaled_by(v.high, factor.low, shift)};
}

lanes sub(lanes a, lanes b) {
  return {vsubq_s32(a.low, b.low), vsubq_s32(a.high, b.high)};
}
// The low words of the products.
lanes multiply(lanes a, lanes b) {
  return {vmulq_s32(a.low, b.low), vmulq_s32(a.high, b.high)};
}
lanes clamped(lanes v, int32_t most) {
  const int32x4_t zeros = vdupq_n_s32(0), limit = vdupq_n_s32(most);
  return {vmaxq_s32(vminq_s32(v.low, limit), zeros), vmaxq_s32(vminq_s32(v.high, limit), zeros)};
}
// Each word's low half with its sign.
lanes low_16(lanes v) {
  return {vmovl_s16(vmovn_s32(v.low)), vmovl_s16(vmovn_s32(v.high))};
}
// The first word four times, and the second.
lanes spread_two(const int32_t *p) {
  return {vdupq_n_s32(p[0]), vdupq_n_s32(p[1])};
}
halves spread_halves(int64_t value) {
  const int64x2_t both = vdupq_n_s64(value);
  return {{both, both, both, both}};
}

// Four words, and 64-bit sums of four.
using quad = int32x4_t;
struct quad_sum {
  int64x2_t low, high;
};
constexpr int kQuadWords = 4;

quad load_quad(const int32_t *p) {
  return vld1q_s32(p);
}
void store_quad(int32_t *p, quad v) {
  vst1q_s32(p, v);
}
// Four words that follow each other.
quad load_packed(const int32_t *p) {
  return vld1q_s32(p);
}
void store_packed(int32_t *p, quad v) {
  vst1q_s32(p, v);
}
int32_t first_of(quad v) {
  return vgetq_lane_s32(v, 0);
}
quad with_first(quad v, int32_t value) {
  return vsetq_lane_s32(value, v, 0);
}
quad spread_quad(int32_t value) {
  return vdupq_n_s32(value);
}
quad only_first(int32_t value) {
  return vsetq_lane_s32(value, vdupq_n_s32(0), 0);
}
quad add(quad a, quad b) {
  return vaddq_s32(a, b);
}
quad sub(quad a, quad b) {
  return vsubq_s32(a, b);
}
// v in the filter's place, w in the others.
quad chosen(short_term_filter filter, quad v, quad w) {
  static constexpr int32_t kPlaces[4] = {0, 1, 2, 3};
  return vbslq_s32(vceqq_s32(vld1q_s32(kPlaces), vdupq_n_s32(filter)), v, w);
}
// In each filter's place what it takes from the one before it, and in the first one's what the last
// has given.
quad hand_on(quad given) {
  static_assert(kFormant == 0 && kZeros == 1 && kBright == 2 && kPoles == 3);
  // Bytes of words 2, 0, 3 and 1.
  static constexpr uint8_t kBytes[16] = {8, 9, 10, 11, 0, 1, 2, 3, 12, 13, 14, 15, 4, 5, 6, 7};
  return vreinterpretq_s32_u8(vqtbl1q_u8(vreinterpretq_u8_s32(given), vld1q_u8(kBytes)));
}
// What the zeros take, what the others gave.
quad with_zeros(quad given, quad taken) {
  return vcopyq_laneq_s32(given, kZeros, taken, kZeros);
}
template <int kShift>
quad term(quad v, quad w) {
  return scaled<kShift>(v, w);
}
quad_sum first_term_14(quad v, quad w) {
  return {vshrq_n_s64(vmull_s32(vget_low_s32(v), vget_low_s32(w)), 14),
          vshrq_n_s64(vmull_high_s32(v, w), 14)};
}
void add_term_14(quad_sum *sum, quad v, quad w) {
  sum->low = vsraq_n_s64(sum->low, vmull_s32(vget_low_s32(v), vget_low_s32(w)), 14);
  sum->high = vsraq_n_s64(sum->high, vmull_high_s32(v, w), 14);
}
void add_past_term(quad_sum *sum, quad past, quad tap) {
  add_term_14(sum, past, tap);
}
quad low_words(quad_sum sum) {
  return vuzp1q_s32(vreinterpretq_s32_s64(sum.low), vreinterpretq_s32_s64(sum.high));
}
quad settled(quad v) {
  __asm__("" : "+w"(v));
  return v;
}
// (v * w + 8192) >> 14
quad rounded_products_14(quad v, quad w) {
  const int32x2_t low = vrshrn_n_s64(vmull_s32(vget_low_s32(v), vget_low_s32(w)), 14);
  return vrshrn_high_n_s64(low, vmull_high_s32(v, w), 14);
}
quad shift_right_11(quad v) {
  return vshrq_n_s32(v, 11);
}

#include "common/cascade_lanes.inc"
#include "common/filter_lanes.inc"

}  // namespace

const filter_kernels kNeonFilterKernels = {zero,   pole,  short_term, pitch,     pitch_on,
                                           energy, scale, codebook,   codebooks, noise,
                                           to_pcm, lpc,   impulses};

}  // namespace kelp
