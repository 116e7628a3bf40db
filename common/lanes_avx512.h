// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// Sixteen 32-bit words at a time with AVX-512. For the sources of that instruction set alone; what
// is not said here is as in lanes_avx2.h.
#ifndef KELP_COMMON_LANES_AVX512_H
#define KELP_COMMON_LANES_AVX512_H

#include <cstdint>
#include <immintrin.h>

namespace {

struct lanes {
  using words = __m512i;
  static constexpr int kWords = 16;
  static constexpr const char *kName = "AVX-512";

  static words load(const int32_t *p) { return _mm512_loadu_si512(p); }
  static void store(int32_t *p, words a) { _mm512_storeu_si512(p, a); }
  static words load16(const int16_t *p) {
    return _mm512_cvtepi16_epi32(_mm256_loadu_si256(reinterpret_cast<const __m256i *>(p)));
  }
  static words splat(int32_t x) { return _mm512_set1_epi32(x); }
  static words add(words a, words b) { return _mm512_add_epi32(a, b); }
  static words shift_down(words a, words next) { return _mm512_alignr_epi32(next, a, 1); }
  static words shift_up(words before, words a) { return _mm512_alignr_epi32(a, before, 15); }
  template <int kCount>
  static words first_words(words a) {
    return _mm512_maskz_mov_epi32(static_cast<__mmask16>((1 << kCount) - 1), a);
  }

  static words product14(words a, words b) {
    const __m512i even = _mm512_mul_epi32(a, b);
    const __m512i odd = _mm512_mul_epi32(odd_words(a), odd_words(b));
    return _mm512_mask_blend_epi32(0xAAAA, _mm512_srli_epi64(even, 14), _mm512_slli_epi64(odd, 18));
  }

  static words product24(words a, words b) {
    const __m512i even = _mm512_mul_epi32(a, b);
    const __m512i odd = _mm512_mul_epi32(odd_words(a), odd_words(b));
    return _mm512_mask_blend_epi32(0xAAAA, _mm512_srli_epi64(even, 24), _mm512_slli_epi64(odd, 8));
  }
  static words low_product(words a, words b) { return _mm512_mullo_epi32(a, b); }

  struct sums {
    __m512i even, odd;
  };
  static sums zero_sums() { return {_mm512_setzero_si512(), _mm512_setzero_si512()}; }
  static sums splat_sums(int64_t x) { return {_mm512_set1_epi64(x), _mm512_set1_epi64(x)}; }
  static void add_product(sums *s, words a, words b) {
    s->even = _mm512_add_epi64(s->even, _mm512_mul_epi32(a, b));
    s->odd = _mm512_add_epi64(s->odd, _mm512_mul_epi32(odd_words(a), odd_words(b)));
  }
  static words low_words19(const sums &s) {
    return _mm512_mask_blend_epi32(0xAAAA, _mm512_srli_epi64(s.even, 19),
                                   _mm512_slli_epi64(s.odd, 13));
  }
  static void add_product18(sums *s, words a, words b) {
    const __m512i even = _mm512_mul_epi32(a, b);
    const __m512i odd = _mm512_mul_epi32(odd_words(a), odd_words(b));
    s->even = _mm512_add_epi64(s->even, _mm512_srai_epi64(even, 18));
    s->odd = _mm512_add_epi64(s->odd, _mm512_srai_epi64(odd, 18));
  }
  static constexpr int64_t bias18(int) { return 0; }
  static void add_square18(sums *s, words a) {
    const __m512i odd = odd_words(a);
    s->even = _mm512_add_epi64(s->even, _mm512_srli_epi64(_mm512_mul_epi32(a, a), 18));
    s->odd = _mm512_add_epi64(s->odd, _mm512_srli_epi64(_mm512_mul_epi32(odd, odd), 18));
  }
  static void store_sums(int64_t *p, const sums &s) {
    const __m512i low = _mm512_setr_epi64(0, 8, 1, 9, 2, 10, 3, 11);
    const __m512i high = _mm512_setr_epi64(4, 12, 5, 13, 6, 14, 7, 15);
    _mm512_storeu_si512(p, _mm512_permutex2var_epi64(s.even, low, s.odd));
    _mm512_storeu_si512(p + 8, _mm512_permutex2var_epi64(s.even, high, s.odd));
  }
  static int64_t total(const sums &s) {
    return _mm512_reduce_add_epi64(_mm512_add_epi64(s.even, s.odd));
  }

 private:
  static words odd_words(words a) { return _mm512_srli_epi64(a, 32); }
};

}  // namespace

#endif  // KELP_COMMON_LANES_AVX512_H
