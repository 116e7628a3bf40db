// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "enc/weighting.h"

#include "common/filters.h"
#include "common/wrapping.h"

namespace kelp {
namespace {

// Guard bits of both filters. Ten floored terms a step, at the samples' own scale, would leave an
// offset of several units in every weighted sample, which drowns quiet speech.
constexpr int kGuard = 10;

int32_t drop_guard(int32_t v) {
  return wrap_add(v, 1 << (kGuard - 1)) >> kGuard;
}

}  // namespace

void kelpe_pitch_cb_target(encoder_frame *frame, encoder_state *state) {
  const int blocks = frame->rate == KELP_RATE_EIGHTH ? 1 : 4;
  const int n = KELP_FRAME_SAMPLES / blocks;
  const filter_kernels &kernels = *state->local_decoder.kernels;
  for (int b = 0; b < blocks; b++) {
    const subframe_coefficients &coefficients = frame->coefficients[b];
    int32_t zeros[kLpcOrder];
    for (int i = 0; i < kLpcOrder; i++) zeros[i] = wrap_neg(coefficients.expanded[i]);
    const int32_t *const speech = state->speech + b * n;
    int32_t *const residual = frame->weighted_residual + b * n;
    int32_t *const weighted = frame->weighted_speech + b * n;
    int32_t v[KELP_FRAME_SAMPLES];

    for (int k = 0; k < n; k++) v[k] = wrap_shl(speech[k], kGuard);
    kernels.zero(v, state->weighting_zero, zeros, n, true, v);
    for (int k = 0; k < n; k++) residual[k] = drop_guard(v[k]);
    // The pole filter reads the zero filter's output unrounded.
    kernels.pole(v, state->weighting_pole, coefficients.weighted, n, true, v);
    for (int k = 0; k < n; k++) weighted[k] = drop_guard(v[k]);
  }
}

}  // namespace kelp
