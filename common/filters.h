// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// The codec's recursive filters. Every term of a sum is a 64-bit product that is shifted by itself
// and added in 32 bits: no rounding, no saturation. Truncating the sum instead would change bits.
//
// Each filter copies its memory, oldest sample first, ahead of the new samples in `scratch` and
// runs over them there. With `update` set the memory is taken anew from the end of the run;
// without, the run leaves no trace, so that a search can try things. y may be x.
#ifndef KELP_COMMON_FILTERS_H
#define KELP_COMMON_FILTERS_H

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "common/wrapping.h"
#include "kelp.h"

namespace kelp {

inline constexpr int kLpcOrder = 10;
inline constexpr int kPitchHistory =
    150;  // longest lag 143, the interpolator's reach, half a sample
inline constexpr int kMaxRun = KELP_FRAME_SAMPLES;  // longest run of a tenth-order filter
inline constexpr int kMaxSubframe = 40;             // longest run of the others

// Scratch space of the tenth-order and of the pitch filter, in words.
using lpc_scratch = int32_t[kLpcOrder + kMaxRun];
using pitch_scratch = int32_t[kPitchHistory + kMaxSubframe];

// Memory of a tenth-order filter, newest sample first, and its coefficients a1 .. a10 in Q14. An
// all-zero filter remembers inputs, an all-pole filter outputs.
struct lpc_filter {
  int32_t memory[kLpcOrder];
  int32_t coefficients[kLpcOrder];
};

// Pitch history, newest sample first, and the parameters of the last run.
struct pitch_filter {
  int32_t lag;       // samples
  int16_t gain_q3;   // 8 = 1.0
  int32_t fraction;  // quarter samples: 0, or 2 for half a sample more than lag
  int32_t history[kPitchHistory];
};

// scratch[0 .. count - 1] takes the memory oldest first; the update runs the other way, from the
// last `count` samples of `length`.
inline void load_memory(const int32_t *memory, int count, int32_t *scratch) {
  for (int i = 0; i < count; i++) scratch[count - 1 - i] = memory[i];
}
inline void store_memory(const int32_t *scratch, int length, int count, int32_t *memory) {
  for (int i = 0; i < count; i++) memory[i] = scratch[length - 1 - i];
}

// Sum of the ten terms (a_i * s[-1 - i]) >> 14, s pointing at the current sample.
inline int32_t predict(const int32_t *s, const int32_t *a) {
  int32_t sum = 0;
  for (int i = 0; i < kLpcOrder; i++) sum = wrap_add(sum, low32(product(a[i], s[-1 - i]) >> 14));
  return sum;
}

// y[k] = x[k] + sum of (a_i * x[k - 1 - i]) >> 14, k = 0 .. n - 1; n up to kMaxRun.
inline void kelp_filter_zero(const int32_t *x, int32_t *memory, const int32_t *a, int n,
                             bool update, int32_t *scratch, int32_t *y) {
  load_memory(memory, kLpcOrder, scratch);
  int32_t *const s = scratch + kLpcOrder;
  for (int k = 0; k < n; k++) s[k] = x[k];
  for (int k = 0; k < n; k++) y[k] = wrap_add(s[k], predict(s + k, a));
  if (update) store_memory(scratch, kLpcOrder + n, kLpcOrder, memory);
}

// y[k] = x[k] + sum of (a_i * y[k - 1 - i]) >> 14.
inline void kelp_filter_pole(const int32_t *x, int32_t *memory, const int32_t *a, int n,
                             bool update, int32_t *scratch, int32_t *y) {
  load_memory(memory, kLpcOrder, scratch);
  int32_t *const s = scratch + kLpcOrder;
  for (int k = 0; k < n; k++) {
    s[k] = wrap_add(x[k], predict(s + k, a));
    y[k] = s[k];
  }
  if (update) store_memory(scratch, kLpcOrder + n, kLpcOrder, memory);
}

// The interpolators: eight taps on the samples s[0], s[Step], .. s[7 * Step].
template <int Step>
inline int64_t interpolator_term(const int16_t *taps, int32_t gain_q3, const int32_t *s, int j) {
  return product(taps[j] * gain_q3, s[Step * j]);
}

// How the contribution of a half-sample lag is rounded. Encoder and decoder differ here.
struct truncate_each_term {  // the decoder
  template <int Step>
  static int32_t contribution(const int16_t *taps, int32_t gain_q3, const int32_t *s) {
    int32_t sum = 0;
    for (int j = 0; j < 8; j++) {
      sum = wrap_add(sum, low32(interpolator_term<Step>(taps, gain_q3, s, j) >> 17));
    }
    return sum;
  }
};
struct truncate_sum {  // the encoder: a cut at bit 12, then towards zero
  template <int Step>
  static int32_t contribution(const int16_t *taps, int32_t gain_q3, const int32_t *s) {
    int64_t sum = 0;
    for (int j = 0; j < 8; j++) {
      sum = wrap_add64(sum, interpolator_term<Step>(taps, gain_q3, s, j));
    }
    return low32((sum >> 12) / 32);
  }
};

// Long-term synthesis with one tap: y[k] = x[k] + gain * y[k - lag - fraction]. The output takes
// the input's place in the scratch as it is made, so lags below n repeat the new excitation.
//   lag       0 .. 143 with fraction 0, else 17 .. 143
//   fraction  quarter samples; only its sign matters: above 0 is half a sample more than lag
//   history   kPitchHistory samples, newest first
//   n         up to kMaxSubframe
template <typename Rounding>
void filter_pole_1_tap_interp(const int32_t *x, int32_t lag, int32_t gain_q3, int32_t fraction,
                              int32_t *history, int n, bool update, int32_t *scratch, int32_t *y) {
  load_memory(history, kPitchHistory, scratch);
  int32_t *const s = scratch + kPitchHistory;
  for (int k = 0; k < n; k++) s[k] = x[k];
  if (fraction == 0) {
    for (int k = 0; k < n; k++) {
      // Rounded at bit 17 and brought back by 14: steps of 16384, coarse on purpose.
      const int32_t term = wrap_add(wrap_mul(s[k - lag], gain_q3), 65536) >> 17;
      s[k] = wrap_add(s[k], wrap_shl(term, 14));
    }
  } else if (fraction > 0) {  // delays lag + 4 down to lag - 3
    for (int k = 0; k < n; k++) {
      const int32_t *const first = s + k - lag - 4;
      s[k] = wrap_add(s[k], Rounding::template contribution<1>(kelp_tbl_hammsinc, gain_q3, first));
    }
  } else {  // delays lag - 4 up to lag + 3; no packet asks for it
    for (int k = 0; k < n; k++) {
      const int32_t *const first = s + k - lag + 4;
      s[k] =
          wrap_add(s[k], Rounding::template contribution<-1>(kelp_tbl_hammsinc_m, gain_q3, first));
    }
  }
  for (int k = 0; k < n; k++) y[k] = s[k];
  if (update) store_memory(scratch, kPitchHistory + n, kPitchHistory, history);
}

// Linear-phase FIR on 16-bit input: remembered inputs (scaled to Q14, newest first) and taps.
template <int kTaps>
struct fir_filter {
  int32_t memory[kTaps - 1];
  int32_t taps[kTaps];
};

// y[k] = sum of (h_j * u[k - j]) >> shift with u = x << 14: Q14 output when the taps are in
// Q`shift`. scratch holds kTaps - 1 + n words.
template <int kTaps>
void filter_fir_linear(const int32_t *x, int32_t *scratch, int32_t *y, int n,
                       fir_filter<kTaps> *filter, int shift, bool update) {
  load_memory(filter->memory, kTaps - 1, scratch);
  for (int k = 0; k < n; k++) scratch[kTaps - 1 + k] = wrap_shl(x[k], 14);
  for (int k = 0; k < n; k++) {
    int32_t sum = 0;
    for (int j = 0; j < kTaps; j++) {
      sum = wrap_add(sum, low32(product(scratch[k + j], filter->taps[kTaps - 1 - j]) >> shift));
    }
    y[k] = sum;
  }
  if (update) store_memory(scratch, kTaps - 1 + n, kTaps - 1, filter->memory);
}

}  // namespace kelp

#endif  // KELP_COMMON_FILTERS_H
