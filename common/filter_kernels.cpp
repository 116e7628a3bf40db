// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// The plain kernels, and the choice.

#include "common/filter_kernels.h"

#include <algorithm>

#include "common/lsp.h"
#include "common/noise.h"
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

int64_t energy(const int32_t *x, int n, int down) {
  int64_t sum = 0;
  for (int k = 0; k < n; k++) sum = wrap_add64(sum, product(x[k] >> down, x[k] >> down));
  return sum;
}

void short_term(int32_t *x, const short_term_filters &filters, int subframes, int n, int sets,
                int64_t *energies) {
  int32_t *const y = x - kRoomBefore;
  for (int s = 0; s < subframes; s++) {
    int32_t taps[4][kLpcOrder];
    for (int f = 0; f < 4; f++) {
      for (int i = 0; i < kLpcOrder; i++) {
        const int32_t lpc = (*filters.lpc)[i][sets == 1 ? 0 : s];
        taps[f][i] = low32((product(lpc, filters.weights_q14[i][f]) + 8192) >> 14);
      }
    }
    int32_t zero_memory[kLpcOrder];
    std::copy_n(filters.formant_memory, kLpcOrder, zero_memory);
    pole(x, filters.formant_memory, taps[kFormant], n, true, y);
    energies[s] = energy(y, n, 0);
    zero(y, zero_memory, taps[kZeros], n, false, x);
    pole(x, filters.pole_memory, taps[kPoles], n, true, x);
    int32_t last = *filters.bright_memory;
    for (int k = 0; k < n; k++) {
      last = wrap_add(low32(product(last, filters.bright_q14) >> 14), x[k]);
      x[k] = last;
    }
    *filters.bright_memory = last;
    x += n;
  }
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

void pitch_on(int32_t *s, int32_t lag, int32_t gain_q3, int32_t fraction, pitch_rounding rounding,
              int n) {
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
}

void pitch(const int32_t *x, int32_t lag, int32_t gain_q3, int32_t fraction,
           pitch_rounding rounding, int32_t *history, int n, bool update, int32_t *y) {
  int32_t scratch[kPitchHistory + kMaxSubframe];
  std::copy_n(history, kPitchHistory, scratch);
  std::copy_n(x, n, scratch + kPitchHistory);
  pitch_on(scratch + kPitchHistory, lag, gain_q3, fraction, rounding, n);
  std::copy_n(scratch + kPitchHistory, n, y);
  if (update) std::copy_n(scratch + n, kPitchHistory, history);
}

void scale(const int32_t *x, int n, int down, int32_t gain, int shift, int32_t *y) {
  for (int k = 0; k < n; k++) y[k] = low32(product(x[k] >> down, gain) >> shift);
}

void codebook(const int16_t *codebook, int32_t index, int32_t gain, int n, int32_t *e) {
  for (int k = 0; k < n; k++) e[k] = low32(product(gain, codebook[(k - index) & 127]) >> 15);
}

void codebooks(const int16_t *from, const codebook_record *records, int m, int c, int32_t *e) {
  for (int j = 0; j < c; j++) codebook(from, records[j].index, records[j].gain_q16, m, e + j * m);
}

int32_t noise(int32_t seed, int32_t gain_q16, int n, int32_t *e) {
  for (int k = 0; k < n; k++) {
    seed = static_cast<int32_t>(next_seed(static_cast<uint32_t>(seed)));
    e[k] = low32((product(low16(seed) * 11, gain_q16) + (1 << 19)) >> 20);
  }
  return seed;
}

void to_pcm(const int32_t *x_q12, int n, int16_t *pcm) {
  for (int k = 0; k < n; k++) pcm[k] = saturate16(x_q12[k] >> 12);
}

void lpc(const int32_t *previous_lsp, const int32_t *lsp, const int16_t *weights,
         coefficient_sets *lpc_q14) {
  for (int s = 0; s < kSets; s++) {
    int32_t cosine[kLpcOrder], set[kLpcOrder];
    for (int i = 0; i < kLpcOrder; i++) {
      const int32_t sum =
          wrap_add(wrap_mul(lsp[i], weights[s]), wrap_mul(previous_lsp[i], 8 - weights[s]));
      // Eighths, and Q16 to Q15. No packet leads out of the table; the clamp keeps it so for any
      // caller.
      cosine[i] = tbl_lsp_cos[std::clamp(sum >> 4, 0, 16383)];
    }
    cosines_to_lpc(cosine, set);
    expand_bandwidth(set);
    for (int i = 0; i < kLpcOrder; i++) (*lpc_q14)[i][s] = set[i];
  }
}

void impulses(const coefficient_sets &a, int32_t (*y)[kSets]) {
  for (int s = 0; s < kSets; s++) {
    int32_t set[kLpcOrder], response[kImpulseResponse] = {1 << 14};
    for (int i = 0; i < kLpcOrder; i++) set[i] = a[i][s];
    lpc_memory rest = {};
    pole(response, rest, set, kImpulseResponse, false, response);
    for (int k = 0; k < kImpulseResponse; k++) y[k][s] = response[k];
  }
}

}  // namespace

const filter_kernels kPlainFilterKernels = {zero,   pole,  short_term, pitch,     pitch_on,
                                            energy, scale, codebook,   codebooks, noise,
                                            to_pcm, lpc,   impulses};

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
