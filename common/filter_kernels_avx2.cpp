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
// The first `count` words, up to 7, and zeros.
lanes load_some(const int32_t *p, int count) {
  alignas(32) static constexpr int32_t kMask[16] = {-1, -1, -1, -1, -1, -1, -1, -1};
  return _mm256_maskload_epi32(p, load(kMask + 8 - count));
}
void store_some(int32_t *p, lanes v, int count) {
  __m128i part = _mm256_castsi256_si128(v);
  if ((count & 4) != 0) {
    _mm_storeu_si128(reinterpret_cast<__m128i *>(p), part);
    part = _mm256_extracti128_si256(v, 1);
    p += 4;
  }
  if ((count & 2) != 0) {
    _mm_storel_epi64(reinterpret_cast<__m128i *>(p), part);
    part = _mm_srli_si128(part, 8);
    p += 2;
  }
  if ((count & 1) != 0) *p = _mm_cvtsi128_si32(part);
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
template <int kShift>
lanes low_words(__m256i even, __m256i odd) {
  return _mm256_blend_epi32(_mm256_srli_epi64(even, kShift), _mm256_slli_epi64(odd, 32 - kShift),
                            0xAA);
}
// (a_i * sample) >> 14 for a sample in all lanes.
lanes terms_14(lanes sample, taps a) {
  return low_words<14>(_mm256_mul_epi32(sample, a.even), _mm256_mul_epi32(sample, a.odd));
}
// (v * factor) >> kShift for a factor in all lanes.
template <int kShift>
lanes scaled(lanes v, lanes factor) {
  return low_words<kShift>(_mm256_mul_epi32(v, factor), _mm256_mul_epi32(odd_words(v), factor));
}

// The same for any shift.
lanes scaled_by(lanes v, lanes factor, int shift) {
  const halves products = {_mm256_mul_epi32(v, factor), _mm256_mul_epi32(odd_words(v), factor)};
  return low_words(shift_right(products, shift));
}

lanes sub(lanes a, lanes b) {
  return _mm256_sub_epi32(a, b);
}
// The low words of the products.
lanes multiply(lanes a, lanes b) {
  return _mm256_mullo_epi32(a, b);
}
lanes clamped(lanes v, int32_t most) {
  return _mm256_max_epi32(_mm256_min_epi32(v, spread(most)), _mm256_setzero_si256());
}
// Each word's low half with its sign.
lanes low_16(lanes v) {
  return _mm256_srai_epi32(_mm256_slli_epi32(v, 16), 16);
}
// The first word four times, and the second.
lanes spread_two(const int32_t *p) {
  return _mm256_inserti128_si256(spread(p[0]), _mm_set1_epi32(p[1]), 1);
}
halves spread_halves(int64_t value) {
  return {_mm256_set1_epi64x(value), _mm256_set1_epi64x(value)};
}

// Four words, each in the lower half of 64 bits. The upper halves hold anything.
using quad = __m256i;
using quad_sum = quad;
constexpr int kQuadWords = 8;

quad load_quad(const int32_t *p) {
  return load(p);
}
void store_quad(int32_t *p, quad v) {
  store(p, v);
}
// Four words that follow each other.
quad load_packed(const int32_t *p) {
  return _mm256_cvtepi32_epi64(_mm_loadu_si128(reinterpret_cast<const __m128i *>(p)));
}
void store_packed(int32_t *p, quad v) {
  const __m256i packed = _mm256_permutevar8x32_epi32(v, _mm256_setr_epi32(0, 2, 4, 6, 0, 2, 4, 6));
  _mm_storeu_si128(reinterpret_cast<__m128i *>(p), _mm256_castsi256_si128(packed));
}
int32_t first_of(quad v) {
  return _mm_cvtsi128_si32(_mm256_castsi256_si128(v));
}
quad with_first(quad v, int32_t value) {
  return _mm256_blend_epi32(v, _mm256_castsi128_si256(_mm_cvtsi32_si128(value)), 0x03);
}
quad spread_quad(int32_t value) {
  return _mm256_set1_epi32(value);
}
quad only_first(int32_t value) {
  return _mm256_zextsi128_si256(_mm_cvtsi32_si128(value));
}
// v in the filter's place, w in the others.
quad chosen(short_term_filter filter, quad v, quad w) {
  const __m256i place = _mm256_setr_epi64x(kFormant, kZeros, kBright, kPoles);
  return _mm256_blendv_epi8(w, v, _mm256_cmpeq_epi64(place, _mm256_set1_epi64x(filter)));
}
// In each filter's place what it takes from the one before it, and in the first one's what the last
// has given.
quad hand_on(quad given) {
  static_assert(kFormant == 0 && kZeros == 1 && kBright == 2 && kPoles == 3);
  return _mm256_permute4x64_epi64(given, _MM_SHUFFLE(kZeros, kPoles, kFormant, kBright));
}
// What the zeros take, what the others gave.
quad with_zeros(quad given, quad taken) {
  return _mm256_blend_epi32(given, taken, 3 << 2 * kZeros);
}
template <int kShift>
quad term(quad v, quad w) {
  return _mm256_srli_epi64(_mm256_mul_epi32(v, w), kShift);
}
quad_sum first_term_14(quad v, quad w) {
  return term<14>(v, w);
}
void add_term_14(quad_sum *sum, quad v, quad w) {
  *sum = _mm256_add_epi32(*sum, term<14>(v, w));
}
quad low_words(quad_sum sum) {
  return sum;
}
quad settled(quad v) {
  __asm__("" : "+x"(v));
  return v;
}
// The same before the next past is loaded. g++ would load all of them first, for which the
// registers do not suffice.
void add_past_term(quad_sum *sum, quad past, quad tap) {
  add_term_14(sum, past, tap);
#if !defined(__clang__)
  __asm__ volatile("" : "+x"(*sum) : : "memory");
#endif
}
// (v * w + 8192) >> 14
quad rounded_products_14(quad v, quad w) {
  const __m256i sum = _mm256_add_epi64(_mm256_mul_epi32(v, w), _mm256_set1_epi64x(8192));
  return _mm256_srli_epi64(sum, 14);
}
quad shift_right_11(quad v) {
  return _mm256_srai_epi32(v, 11);
}

#include "common/cascade_lanes.inc"
#include "common/filter_lanes.inc"

}  // namespace

const filter_kernels kAvx2FilterKernels = {zero,   pole,  short_term, pitch,     pitch_on,
                                           energy, scale, codebook,   codebooks, noise,
                                           to_pcm, lpc,   impulses};

}  // namespace kelp
