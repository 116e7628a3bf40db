// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// The filter kernels for AVX2.

#include <cstring>
#include <immintrin.h>

#include "common/filter_kernels.h"
#include "kelp.h"

namespace kelp {
namespace {

using lanes = __m256i;

// Products of 64 bits come from the even words of their factors, so sums of even and odd words are
// kept apart.
struct halves {
  __m256i even, odd;
};

lanes load(const int32_t *p) {
  return _mm256_loadu_si256(reinterpret_cast<const __m256i *>(p));
}
void store(int32_t *p, lanes v) {
  _mm256_storeu_si256(reinterpret_cast<__m256i *>(p), v);
}
// The first `count` words, 1 to 8, and zeros.
lanes load_some(const int32_t *p, int count) {
  alignas(32) static constexpr int32_t kMask[16] = {-1, -1, -1, -1, -1, -1, -1, -1};
  return _mm256_maskload_epi32(p, load(kMask + 8 - count));
}
void store_some(int32_t *p, lanes v, int count) {
  int32_t words[8];
  store(words, v);
  for (int i = 0; i < count; i++) p[i] = words[i];
}
lanes spread(int32_t value) {
  return _mm256_set1_epi32(value);
}
lanes add(lanes a, lanes b) {
  return _mm256_add_epi32(a, b);
}

// A word on its own: in the first lane of a register, next to the others.
using single = __m128i;
single one(int32_t value) {
  return _mm_cvtsi32_si128(value);
}
int32_t value(single v) {
  return _mm_cvtsi128_si32(v);
}
lanes spread(single v) {
  return _mm256_broadcastd_epi32(v);
}
single first(lanes v) {
  return _mm256_castsi256_si128(v);
}
single add(single a, single b) {
  return _mm_add_epi32(a, b);
}
// Finished before it is used: a compiler that adds in another order puts the newest term first, on
// which everything waits.
single settled(single v) {
  __asm__("" : "+x"(v));
  return v;
}
single term_14(single a, single b) {
  return _mm_srli_epi64(_mm_mul_epi32(a, b), 14);
}

// Each word to the lane below it. The last stays as well.
lanes shift_down(lanes v) {
  return _mm256_permutevar8x32_epi32(v, _mm256_setr_epi32(1, 2, 3, 4, 5, 6, 7, 7));
}
lanes shift_right(lanes v, int count) {
  return _mm256_sra_epi32(v, _mm_cvtsi32_si128(count));
}
lanes load_16(const int16_t *p) {
  return _mm256_cvtepi16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i *>(p)));
}
// Saturated.
void store_16(int16_t *p, lanes v) {
  const __m128i low = _mm256_castsi256_si128(v);
  const __m128i high = _mm256_extracti128_si256(v, 1);
  _mm_storeu_si128(reinterpret_cast<__m128i *>(p), _mm_packs_epi32(low, high));
}
// (((v * gain) + 65536) >> 17) << 14
lanes coarse_steps(lanes v, lanes gain) {
  const lanes sum = _mm256_add_epi32(_mm256_mullo_epi32(v, gain), _mm256_set1_epi32(65536));
  return _mm256_slli_epi32(_mm256_srai_epi32(sum, 17), 14);
}

lanes odd_words(lanes v) {
  return _mm256_srli_epi64(v, 32);
}
void add_products(halves *sum, lanes v, lanes w) {
  sum->even = _mm256_add_epi64(sum->even, _mm256_mul_epi32(v, w));
  sum->odd = _mm256_add_epi64(sum->odd, _mm256_mul_epi32(odd_words(v), odd_words(w)));
}
template <int kShift>
void add_terms(halves *sum, lanes v, lanes ahead, lanes factor) {
  const lanes even = _mm256_mul_epi32(v, factor);
  const lanes odd = _mm256_mul_epi32(ahead, factor);
  sum->even = _mm256_add_epi64(sum->even, _mm256_srli_epi64(even, kShift));
  sum->odd = _mm256_add_epi64(sum->odd, _mm256_srli_epi64(odd, kShift));
}
halves shift_right(halves sum, int count) {
  const __m128i by = _mm_cvtsi32_si128(count);
  return {_mm256_srl_epi64(sum.even, by), _mm256_srl_epi64(sum.odd, by)};
}
lanes low_words(halves sum) {
  return _mm256_blend_epi32(sum.even, _mm256_slli_epi64(sum.odd, 32), 0xAA);
}
// (sum >> 12) / 32, towards zero: what that takes is added to negative sums first.
lanes rounded_sum(halves sum) {
  const lanes most = _mm256_set1_epi64x(31 << 12);
  const lanes zero = _mm256_setzero_si256();
  const lanes even =
      _mm256_add_epi64(sum.even, _mm256_and_si256(_mm256_cmpgt_epi64(zero, sum.even), most));
  const lanes odd =
      _mm256_add_epi64(sum.odd, _mm256_and_si256(_mm256_cmpgt_epi64(zero, sum.odd), most));
  return low_words({_mm256_srli_epi64(even, 17), _mm256_srli_epi64(odd, 17)});
}
int64_t total(halves sum) {
  const lanes both = _mm256_add_epi64(sum.even, sum.odd);
  const __m128i two =
      _mm_add_epi64(_mm256_castsi256_si128(both), _mm256_extracti128_si256(both, 1));
  return _mm_cvtsi128_si64(_mm_add_epi64(two, _mm_unpackhi_epi64(two, two)));
}

struct taps {
  lanes even, odd;
};
taps make_taps(lanes a) {
  return {a, odd_words(a)};
}
// (a_i * sample) >> 14 for a sample in all lanes.
lanes terms_14(lanes sample, taps a) {
  const lanes even = _mm256_srli_epi64(_mm256_mul_epi32(sample, a.even), 14);
  const lanes odd = _mm256_slli_epi64(_mm256_mul_epi32(sample, a.odd), 18);
  return _mm256_blend_epi32(even, odd, 0xAA);
}

#include "common/filter_lanes.inc"

}  // namespace

const filter_kernels kAvx2FilterKernels = {zero,   pole,  short_term, pitch,
                                           energy, scale, codebook,   to_pcm};

}  // namespace kelp
