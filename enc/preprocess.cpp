// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "enc/preprocess.h"

#include "common/fixed_point.h"
#include "common/wrapping.h"

namespace kelp {
namespace {

// A coefficient (Q14) times a past output without its last bit: over 2^16, made good by the final
// shift.
int32_t feedback(int32_t y, int32_t coefficient_q14) {
  return static_cast<int32_t>(product(y >> 1, coefficient_q14) >> 15);
}

int32_t saturating_shl2(int32_t s) {
  return saturate32(int64_t{s} * 4);
}

}  // namespace

// H(z) = (1 - 2 z^-1 + z^-2) / (1 - 1.88 z^-1 + 0.8836 z^-2): a double zero at 0 Hz over a double
// pole at 0.94.
void kelp_pre_proc(preprocess_state *state, const int16_t input[KELP_FRAME_SAMPLES],
                   int32_t output[KELP_FRAME_SAMPLES]) {
  constexpr int32_t kA1_q14 = 30802;
  constexpr int32_t kA2_q14 = -14477;
  preprocess_state m = *state;
  for (int n = 0; n < KELP_FRAME_SAMPLES; n++) {
    const int32_t x = input[n];
    // At its largest the sum is 2.02e9: it needs neither wrap nor saturation.
    const int32_t zeros = (x - 2 * m.x1 + m.x2) * 4096;
    const int32_t s = feedback(m.y2, kA2_q14) + zeros + feedback(m.y1, kA1_q14);
    const int32_t y = saturating_shl2(s);
    output[n] = saturating_add(y, 0x8000) >> 16;

    m.y2 = m.y1;
    m.y1 = y;
    m.x2 = m.x1;
    m.x1 = x;
  }
  *state = m;
}

void scale_speech(int32_t speech[KELP_FRAME_SAMPLES]) {
  for (int n = 0; n < KELP_FRAME_SAMPLES; n++) {
    // 62006 is twice 31003. A Q30 product of exactly 0.5 would round out of 16 bits; no sample in
    // the 16-bit range makes one.
    speech[n] = wrap_mul(31003, speech[n]) == 0x40000000
                    ? -32768
                    : wrap_add(wrap_mul(62006, speech[n]), 32768) >> 16;
  }
}

}  // namespace kelp
