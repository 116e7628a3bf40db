// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
#ifndef KELP_ENC_PREPROCESS_H
#define KELP_ENC_PREPROCESS_H

#include <cstdint>

#include "enc/encoder_state.h"

namespace kelp {

// High-passes 160 samples and takes them to a quarter of their level, rounded; outputs lie in the
// 16-bit range.
void kelp_pre_proc(preprocess_state *state, const int16_t input[KELP_FRAME_SAMPLES],
                   int32_t output[KELP_FRAME_SAMPLES]);

// Scales 160 samples in place by 31003 / 32768 (0.9461), rounded.
void scale_speech(int32_t speech[KELP_FRAME_SAMPLES]);

}  // namespace kelp

#endif  // KELP_ENC_PREPROCESS_H
