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
// (a_i * sample) >> 14 for a sample in all lanes.
int32x4_t terms_14(int32x4_t sample, int32x4_t a) {
  const int32x2_t low = vshrn_n_s64(vmull_s32(vget_low_s32(sample), vget_low_s32(a)), 14);
  return vshrn_high_n_s64(low, vmull_high_s32(sample, a), 14);
}
lanes terms_14(lanes sample, taps a) {
  return {terms_14(sample.low, a.low), terms_14(sample.high, a.high)};
}

#include "common/filter_lanes.inc"

}  // namespace

const filter_kernels kNeonFilterKernels = {zero,   pole,  short_term, pitch,
                                           energy, scale, codebook,   to_pcm};

}  // namespace kelp
