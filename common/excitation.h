// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// The excitation of one synthesis subframe, before long-term synthesis: noise at the low rates, a
// stretch of a circular codebook at the others.
#ifndef KELP_COMMON_EXCITATION_H
#define KELP_COMMON_EXCITATION_H

#include <cstdint>

#include "common/filters.h"
#include "common/noise.h"
#include "common/wrapping.h"
#include "kelp.h"
#include "tables/excitation_codebooks.h"

namespace kelp {

inline constexpr int kNoiseTaps = 21;

// The next noise sample: the new seed, read as a signed 16-bit value.
inline int32_t next_noise(codebook_record *record) {
  record->seed = static_cast<int32_t>(next_seed(static_cast<uint32_t>(record->seed)));
  return low16(record->seed);
}

// Noise times 11 times the gain, Q16 to Q12 of the output's scale.
inline int32_t scale_noise(int64_t noise, int32_t gain_q16) {
  return low32(wrap_add64(wrap_mul64(noise * 11, gain_q16), 524288) >> 20);
}

// One of the two halves of a quarter-rate subframe. The second half is the first half's excitation
// scaled once more, not its own filtered noise: e points at the subframe's start for both. Its
// noise still advances the seed and the filter. Not inlined: the other rates spare its stack.
[[gnu::noinline]] inline void quarter_rate_excitation(codebook_record *records, int j, int m,
                                                      fir_filter<kNoiseTaps> *fir, int fir_shift,
                                                      int32_t *e) {
  int32_t noise[kMaxSubframe];
  int32_t scratch[kNoiseTaps - 1 + kMaxSubframe];
  for (int k = 0; k < m; k++) noise[k] = next_noise(&records[0]);
  filter_fir_linear(noise, scratch, e + j * m, m, fir, fir_shift, true);
  for (int k = 0; k < m; k++) e[j * m + k] = scale_noise(e[k] >> 14, records[j].gain_q16);
}

// The excitation of a subframe of n samples in c codebook subframes of the same length.
inline void make_excitation(const filter_kernels &kernels, int32_t rate, codebook_record *records,
                            fir_filter<kNoiseTaps> *fir, int fir_shift, int n, int c, int32_t *e) {
  const int m = n / c;
  switch (rate) {
    case KELP_RATE_EIGHTH:
      for (int j = 0; j < c; j++) {
        records[0].seed = kernels.noise(records[0].seed, records[0].gain_q16, m, e + j * m);
      }
      break;
    case KELP_RATE_QUARTER:
      for (int j = 0; j < c; j++) quarter_rate_excitation(records, j, m, fir, fir_shift, e);
      break;
    // The circular codebook, read forwards from where `index` counts backwards to.
    default:
      kernels.codebooks(
          rate == KELP_RATE_FULL ? kFullRateCodebook.data() : kHalfRateCodebook.data(), records, m,
          c, e);
  }
}

}  // namespace kelp

#endif  // KELP_COMMON_EXCITATION_H
