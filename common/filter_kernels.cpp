// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// The plain kernels, and the choice.

#include "common/filter_kernels.h"

#include <algorithm>

#include "common/wrapping.h"
#include "kelp.h"

namespace kelp {
namespace {

// Sum of the ten terms (a_i * s[-1 - i]) >> 14, s pointing at the current sample.
int32_t predict(const int32_t *s, const int32_t *a) {
  int32_t sum = 0;
  for (int i = 0; i < kLpcOrder; i++) sum = wrap_add(sum, low32(product(a[i], s[-1 - i]) >> 14));
  return sum;
}

// Both run over their memory and the new samples in one piece.
void zero(const int32_t *x, int32_t *memory, const int32_t *a, int n, bool update, int32_t *y) {
  int32_t scratch[kLpcOrder + kMaxRun];
  std::copy_n(memory, kLpcOrder, scratch);
  int32_t *const s = scratch + kLpcOrder;
  std::copy_n(x, n, s);
  for (int k = 0; k < n; k++) y[k] = wrap_add(s[k], predict(s + k, a));
  if (update) std::copy_n(scratch + n, kLpcOrder, memory);
}

void pole(const int32_t *x, int32_t *memory, const int32_t *a, int n, bool update, int32_t *y) {
  int32_t scratch[kLpcOrder + kMaxRun];
  std::copy_n(memory, kLpcOrder, scratch);
  int32_t *const s = scratch + kLpcOrder;
  for (int k = 0; k < n; k++) {
    s[k] = wrap_add(x[k], predict(s + k, a));
    y[k] = s[k];
  }
  if (update) std::copy_n(scratch + n, kLpcOrder, memory);
}

void short_term(const int32_t *x, const short_term_filters &filters, int n, int32_t *y,
                int32_t *z) {
  int32_t zero_memory[kLpcOrder];
  std::copy_n(filters.formant_memory, kLpcOrder, zero_memory);
  pole(x, filters.formant_memory, filters.formant, n, true, y);
  zero(y, zero_memory, filters.post_zero, n, false, z);
  pole(z, filters.post_pole_memory, filters.post_pole, n, true, z);
  int32_t last = *filters.bright_memory;
  for (int k = 0; k < n; k++) {
    last = wrap_add(low32(product(last, filters.bright_q14) >> 14), z[k]);
    z[k] = last;
  }
  *filters.bright_memory = last;
}

// The interpolators: eight taps, the gain in them, on the samples s[0], s[step], .. s[7 * step].
int32_t interpolate(const int16_t *taps, int32_t gain_q3, const int32_t *s, int step,
                    pitch_rounding rounding) {
  int32_t sum = 0;
  int64_t whole_sum = 0;
  for (int j = 0; j < 8; j++) {
    const int64_t term = product(wrap_mul(taps[j], gain_q3), s[step * j]);
    sum = wrap_add(sum, low32(term >> 17));
    whole_sum = wrap_add64(whole_sum, term);
  }
  return rounding == pitch_rounding::each_term ? sum : low32((whole_sum >> 12) / 32);
}

// The output takes the input's place behind the history as it is made.
void pitch(const int32_t *x, int32_t lag, int32_t gain_q3, int32_t fraction,
           pitch_rounding rounding, int32_t *history, int n, bool update, int32_t *y) {
  int32_t scratch[kPitchHistory + kMaxSubframe];
  std::copy_n(history, kPitchHistory, scratch);
  int32_t *const s = scratch + kPitchHistory;
  std::copy_n(x, n, s);
  for (int k = 0; k < n; k++) {
    const int32_t *const delayed = s + k - lag;
    int32_t contribution = 0;
    if (fraction == 0) {
      // Rounded at bit 17 and brought back by 14: steps of 16384, coarse on purpose.
      contribution = wrap_shl(wrap_add(wrap_mul(*delayed, gain_q3), 65536) >> 17, 14);
    } else if (fraction > 0) {  // delays lag + 4 down to lag - 3
      contribution = interpolate(kelp_tbl_hammsinc, gain_q3, delayed - 4, 1, rounding);
    } else {  // delays lag - 4 up to lag + 3; no packet asks for it
      contribution = interpolate(kelp_tbl_hammsinc_m, gain_q3, delayed + 4, -1, rounding);
    }
    s[k] = wrap_add(s[k], contribution);
  }
  std::copy_n(s, n, y);
  if (update) std::copy_n(scratch + n, kPitchHistory, history);
}

int64_t energy(const int32_t *x, int n, int down) {
  int64_t sum = 0;
  for (int k = 0; k < n; k++) sum = wrap_add64(sum, product(x[k] >> down, x[k] >> down));
  return sum;
}

void scale(const int32_t *x, int n, int down, int32_t gain, int shift, int32_t *y) {
  for (int k = 0; k < n; k++) y[k] = low32(product(x[k] >> down, gain) >> shift);
}

void codebook(const int16_t *codebook, int32_t index, int32_t gain, int n, int32_t *e) {
  for (int k = 0; k < n; k++) e[k] = low32(product(gain, codebook[(k - index) & 127]) >> 15);
}

void to_pcm(const int32_t *x_q12, int n, int16_t *pcm) {
  for (int k = 0; k < n; k++) pcm[k] = saturate16(x_q12[k] >> 12);
}

}  // namespace

const filter_kernels kPlainFilterKernels = {zero,   pole,  short_term, pitch,
                                            energy, scale, codebook,   to_pcm};

const filter_kernels &filter_kernels_for([[maybe_unused]] instruction_set set) {
#if defined(KELP_PLAIN_KERNELS)
  return kPlainFilterKernels;
#elif defined(__x86_64__)
  // The wider registers of AVX-512 gain nothing here: the filters wait for their own output.
  return set == instruction_set::baseline ? kPlainFilterKernels : kAvx2FilterKernels;
#elif defined(__aarch64__)
  return kNeonFilterKernels;
#else
  return kPlainFilterKernels;
#endif
}

}  // namespace kelp
