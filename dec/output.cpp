// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "dec/output.h"

#include "common/wrapping.h"
#include "dec/decoder_state.h"

namespace kelp {

void kelpd_filter_pole_bright(const int32_t *x, int32_t *memory, const int32_t *coefficient_q14,
                              int n, bool update, int32_t *y) {
  int32_t last = *memory;
  for (int k = 0; k < n; k++) {
    last = wrap_add(low32(product(last, *coefficient_q14) >> 14), x[k]);
    y[k] = last;
  }
  if (update) *memory = last;
}

void brightening_filter::run(int32_t *samples, int n) {
  kelpd_filter_pole_bright(samples, &memory, &coefficient_q14, n, true, samples);
}

void kelpd_recon(const int32_t samples[KELP_FRAME_SAMPLES], kelp_pcm_frame *audio) {
  for (int k = 0; k < KELP_FRAME_SAMPLES; k++) audio->samples[0][k] = saturate16(samples[k]);
}

}  // namespace kelp
