// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "enc/preprocess.h"

#include "common/wrapping.h"

namespace kelp {

// H(z) = (1 - 2 z^-1 + z^-2) / (1 - 1.88 z^-1 + 0.8836 z^-2): a double zero at 0 Hz over a double
// pole at 0.94. The magnitudes of its impulse response sum up to 2.29, so that no input takes an
// output beyond 2.29 * 8192: nothing needs to saturate.
void kelp_pre_proc(preprocess_state *state, const int16_t input[KELP_FRAME_SAMPLES],
                   int32_t output[KELP_FRAME_SAMPLES]) {
  constexpr int32_t kA1_q14 = 30802;
  constexpr int32_t kA2_q14 = -14477;
  // Past outputs over 2^14 in 64 bits: from one to the next it takes but a product, a shift and a
  // sum, as long as the newest term is added last.
  int64_t y1 = state->y1;
  int64_t y2 = state->y2;
  int32_t x1 = state->x1;
  int32_t x2 = state->x2;
  for (int n = 0; n < KELP_FRAME_SAMPLES; n++) {
    const int32_t x = input[n];
    const int64_t past = (x - 2 * x1 + x2) * 4096 + ((y2 * kA2_q14) >> 14);
    y2 = y1;
    y1 = past + ((y1 * kA1_q14) >> 14);
    output[n] = low32((y1 + 0x2000) >> 14);
    x2 = x1;
    x1 = x;
  }
  *state = {low32(y1), low32(y2), x1, x2};
}

void scale_speech(int32_t speech[KELP_FRAME_SAMPLES]) {
  for (int n = 0; n < KELP_FRAME_SAMPLES; n++) {
    // No sample in the 16-bit range makes a product of exactly 0.5, which would round out of it.
    speech[n] = (31003 * low16(speech[n]) + 0x4000) >> 15;
  }
}

}  // namespace kelp
