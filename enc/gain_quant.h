// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// Quantizers of pitch and codebook parameters. Each gives the code and the value that the decoder
// will make of it.
#ifndef KELP_ENC_GAIN_QUANT_H
#define KELP_ENC_GAIN_QUANT_H

#include <cstdint>

#include "common/synthesis.h"
#include "enc/encoder_state.h"

namespace kelp {

// Lag 0 (no pitch), or 17 .. 143 with fraction 0 or 2. Reads back lag and fraction in place.
void kelpe_q_pitch_lag(int32_t *lag, uint32_t *lag_code, int32_t *fraction, uint32_t *fraction_bit);

// Gain b in Q14 to steps of a quarter, 0 to 2.0 in Q3. Code 0 is both 0.25 and no gain.
void kelpe_q_pitch_gain(int32_t b_q14, int16_t *gain_q3, uint32_t *code);

// Codebook gain in Q16: the optimal one in, the quantized signed one out. j is the codebook
// subframe within its pitch subframe.
void kelpe_q_cb_gain(int32_t rate, int32_t *gain_q16, uint32_t *code, uint32_t *sign, int j,
                     gain_quantizer_state *state);

// Eighth-rate gain, unsigned: the nearest of four positions about the last ones.
void kelpe_q_cb_gain8th(int32_t gain_q16, int32_t *quantized_q16, uint32_t *code,
                        gain_quantizer_state *state);

// The code is the index.
inline uint32_t kelpe_q_cb_idx(int32_t index) {
  return static_cast<uint32_t>(index);
}

}  // namespace kelp

#endif  // KELP_ENC_GAIN_QUANT_H
