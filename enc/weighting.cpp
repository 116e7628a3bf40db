// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "enc/weighting.h"

#include <algorithm>

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
  lpc_filter *const zero = &state->weighting_zero;
  lpc_filter *const pole = &state->weighting_pole;
  lpc_scratch scratch;
  for (int b = 0; b < blocks; b++) {
    for (int i = 0; i < kLpcOrder; i++) {
      zero->coefficients[i] = wrap_neg(frame->coefficients[b].expanded[i]);
      pole->coefficients[i] = frame->coefficients[b].weighted[i];
    }
    const int32_t *const speech = state->speech + b * n;
    int32_t *const residual = frame->weighted_residual + b * n;
    int32_t *const weighted = frame->weighted_speech + b * n;
    int32_t v[KELP_FRAME_SAMPLES];

    for (int k = 0; k < n; k++) v[k] = wrap_shl(speech[k], kGuard);
    kelp_filter_zero(v, zero->memory, zero->coefficients, n, true, scratch, v);
    for (int k = 0; k < n; k++) residual[k] = drop_guard(v[k]);
    // The pole filter reads the zero filter's output unrounded.
    kelp_filter_pole(v, pole->memory, pole->coefficients, n, true, scratch, v);
    for (int k = 0; k < n; k++) weighted[k] = drop_guard(v[k]);
  }
}

}  // namespace kelp
