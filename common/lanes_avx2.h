// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// Eight 32-bit words at a time with AVX2. For the sources of that instruction set alone.
#ifndef KELP_COMMON_LANES_AVX2_H
#define KELP_COMMON_LANES_AVX2_H

#include <cstdint>
#include <immintrin.h>

namespace {

struct lanes {
  using words = __m256i;
  static constexpr int kWords = 8;
  static constexpr const char *kName = "AVX2";

  static words load(const int32_t *p) {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i *>(p));
  }
  static void store(int32_t *p, words a) { _mm256_storeu_si256(reinterpret_cast<__m256i *>(p), a); }
  static words load16(const int16_t *p) {  // sign-extended
    return _mm256_cvtepi16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i *>(p)));
  }
  static words splat(int32_t x) { return _mm256_set1_epi32(x); }
  static words add(words a, words b) { return _mm256_add_epi32(a, b); }

  // Words 1 .. of `a` and then the first of `next`; the last of `before` and then words 0 .. of
  // `a`.
  static words shift_down(words a, words next) {
    return _mm256_alignr_epi8(_mm256_permute2x128_si256(a, next, 0x21), a, 4);
  }
  static words shift_up(words before, words a) {
    return _mm256_alignr_epi8(a, _mm256_permute2x128_si256(before, a, 0x21), 12);
  }

  // The first kCount words, zeros after them.
  template <int kCount>
  static words first_words(words a) {
    if constexpr (kCount == kWords) return a;
    const words number = _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7);
    return _mm256_and_si256(a, _mm256_cmpgt_epi32(splat(kCount), number));
  }

  // The low words of a * b >> 14.
  static words product14(words a, words b) {
    const __m256i even = _mm256_mul_epi32(a, b);
    const __m256i odd = _mm256_mul_epi32(odd_words(a), odd_words(b));
    return _mm256_blend_epi32(_mm256_srli_epi64(even, 14), _mm256_slli_epi64(odd, 18), 0xAA);
  }

  // The low words of a * b >> 24, and of a * b.
  static words product24(words a, words b) {
    const __m256i even = _mm256_mul_epi32(a, b);
    const __m256i odd = _mm256_mul_epi32(odd_words(a), odd_words(b));
    return _mm256_blend_epi32(_mm256_srli_epi64(even, 24), _mm256_slli_epi64(odd, 8), 0xAA);
  }
  static words low_product(words a, words b) { return _mm256_mullo_epi32(a, b); }

  // Sums of 64 bits, one for each word. There is no arithmetic shift of 64 bits: products are moved
  // up by 2^63 before a logical one, and the sum down again in the end.
  struct sums {
    __m256i even, odd;
  };
  static sums zero_sums() { return {_mm256_setzero_si256(), _mm256_setzero_si256()}; }
  static sums splat_sums(int64_t x) { return {_mm256_set1_epi64x(x), _mm256_set1_epi64x(x)}; }
  static void add_product(sums *s, words a, words b) {
    s->even = _mm256_add_epi64(s->even, _mm256_mul_epi32(a, b));
    s->odd = _mm256_add_epi64(s->odd, _mm256_mul_epi32(odd_words(a), odd_words(b)));
  }
  // The low words of sums >> 19.
  static words low_words19(const sums &s) {
    return _mm256_blend_epi32(_mm256_srli_epi64(s.even, 19), _mm256_slli_epi64(s.odd, 13), 0xAA);
  }
  static void add_product18(sums *s, words a, words b) {
    const __m256i bias = _mm256_set1_epi64x(INT64_MIN);
    const __m256i even = _mm256_xor_si256(_mm256_mul_epi32(a, b), bias);
    const __m256i odd = _mm256_xor_si256(_mm256_mul_epi32(odd_words(a), odd_words(b)), bias);
    s->even = _mm256_add_epi64(s->even, _mm256_srli_epi64(even, 18));
    s->odd = _mm256_add_epi64(s->odd, _mm256_srli_epi64(odd, 18));
  }
  static constexpr int64_t bias18(int products) { return int64_t{products} << 45; }
  static void add_square18(sums *s, words a) {
    const __m256i odd = odd_words(a);
    s->even = _mm256_add_epi64(s->even, _mm256_srli_epi64(_mm256_mul_epi32(a, a), 18));
    s->odd = _mm256_add_epi64(s->odd, _mm256_srli_epi64(_mm256_mul_epi32(odd, odd), 18));
  }
  // Into eight values in the words' order.
  static void store_sums(int64_t *p, const sums &s) {
    const __m256i low = _mm256_unpacklo_epi64(s.even, s.odd);
    const __m256i high = _mm256_unpackhi_epi64(s.even, s.odd);
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(p), _mm256_permute2x128_si256(low, high, 0x20));
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(p + 4),
                        _mm256_permute2x128_si256(low, high, 0x31));
  }
  static int64_t total(const sums &s) {
    const __m256i both = _mm256_add_epi64(s.even, s.odd);
    const __m128i half =
        _mm_add_epi64(_mm256_castsi256_si128(both), _mm256_extracti128_si256(both, 1));
    return _mm_cvtsi128_si64(half) + _mm_extract_epi64(half, 1);
  }

 private:
  static words odd_words(words a) { return _mm256_srli_epi64(a, 32); }
};

}  // namespace

#endif  // KELP_COMMON_LANES_AVX2_H
