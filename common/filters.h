// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// What the codec's filters remember from run to run; common/filter_kernels.h has their loops.
#ifndef KELP_COMMON_FILTERS_H
#define KELP_COMMON_FILTERS_H

#include <cstdint>

#include "common/filter_kernels.h"
#include "common/wrapping.h"

namespace kelp {

// Memory of a tenth-order filter, oldest sample first. An all-zero filter remembers inputs, an
// all-pole filter outputs.
using lpc_memory = int32_t[kLpcOrder];

// Pitch history, oldest sample first, and the parameters of the last run.
struct pitch_filter {
  int32_t lag;       // samples
  int16_t gain_q3;   // 8 = 1.0
  int32_t fraction;  // quarter samples: 0, or 2 for half a sample more than lag
  int32_t history[kPitchHistory];
};

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
  for (int i = 0; i < kTaps - 1; i++) scratch[kTaps - 2 - i] = filter->memory[i];
  for (int k = 0; k < n; k++) scratch[kTaps - 1 + k] = wrap_shl(x[k], 14);
  for (int k = 0; k < n; k++) {
    int32_t sum = 0;
    for (int j = 0; j < kTaps; j++) {
      sum = wrap_add(sum, low32(product(scratch[k + j], filter->taps[kTaps - 1 - j]) >> shift));
    }
    y[k] = sum;
  }
  if (!update) return;
  for (int i = 0; i < kTaps - 1; i++) filter->memory[i] = scratch[kTaps - 2 + n - i];
}

}  // namespace kelp

#endif  // KELP_COMMON_FILTERS_H
