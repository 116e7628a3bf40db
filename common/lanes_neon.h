// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// Four 32-bit words at a time with NEON. What is not said here is as in lanes_avx2.h.
#ifndef KELP_COMMON_LANES_NEON_H
#define KELP_COMMON_LANES_NEON_H

#include <arm_neon.h>
#include <cstdint>

namespace {

struct lanes {
  using words = int32x4_t;
  static constexpr int kWords = 4;
  static constexpr const char *kName = "NEON";

  static words load(const int32_t *p) { return vld1q_s32(p); }
  static void store(int32_t *p, words a) { vst1q_s32(p, a); }
  static words load16(const int16_t *p) { return vmovl_s16(vld1_s16(p)); }
  static words splat(int32_t x) { return vdupq_n_s32(x); }
  static words add(words a, words b) { return vaddq_s32(a, b); }
  static words shift_down(words a, words next) { return vextq_s32(a, next, 1); }
  static words shift_up(words before, words a) { return vextq_s32(before, a, 3); }
  template <int kCount>
  static words first_words(words a) {
    static_assert(kCount == kWords, "every length here is a multiple of four");
    return a;
  }

  static words product14(words a, words b) {
    const int32x2_t low = vshrn_n_s64(vmull_s32(vget_low_s32(a), vget_low_s32(b)), 14);
    return vshrn_high_n_s64(low, vmull_high_s32(a, b), 14);
  }

  static words product24(words a, words b) {
    const int32x2_t low = vshrn_n_s64(vmull_s32(vget_low_s32(a), vget_low_s32(b)), 24);
    return vshrn_high_n_s64(low, vmull_high_s32(a, b), 24);
  }
  static words low_product(words a, words b) { return vmulq_s32(a, b); }

  struct sums {
    int64x2_t low, high;
  };
  static sums zero_sums() { return {vdupq_n_s64(0), vdupq_n_s64(0)}; }
  static sums splat_sums(int64_t x) { return {vdupq_n_s64(x), vdupq_n_s64(x)}; }
  static void add_product(sums *s, words a, words b) {
    s->low = vmlal_s32(s->low, vget_low_s32(a), vget_low_s32(b));
    s->high = vmlal_high_s32(s->high, a, b);
  }
  static words low_words19(const sums &s) {
    return vshrn_high_n_s64(vshrn_n_s64(s.low, 19), s.high, 19);
  }
  static void add_product18(sums *s, words a, words b) {
    s->low = vsraq_n_s64(s->low, vmull_s32(vget_low_s32(a), vget_low_s32(b)), 18);
    s->high = vsraq_n_s64(s->high, vmull_high_s32(a, b), 18);
  }
  static constexpr int64_t bias18(int) { return 0; }
  static void add_square18(sums *s, words a) { add_product18(s, a, a); }
  static void store_sums(int64_t *p, const sums &s) {
    vst1q_s64(p, s.low);
    vst1q_s64(p + 2, s.high);
  }
  static int64_t total(const sums &s) { return vaddvq_s64(vaddq_s64(s.low, s.high)); }
};

}  // namespace

#endif  // KELP_COMMON_LANES_NEON_H
