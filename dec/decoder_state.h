// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// What a decoder keeps: its handle, the state that lives from frame to frame, and the work area
// that is cleared before each frame.
#ifndef KELP_DEC_DECODER_STATE_H
#define KELP_DEC_DECODER_STATE_H

#include <cstdint>

#include "common/synthesis.h"
#include "format/unpack.h"
#include "kelp.h"

namespace kelp {

// Gain indices (dB) of the codebook subframes decoded last.
struct gain_memory {
  int32_t last;
  int32_t previous;
  uint16_t history[3];  // newest first, for the prediction at full rate
};

struct decoder_state {
  int32_t lsp_memory[kLpcOrder];    // last LSPs less their mean, decayed by kLspDecay_q15; Q16
  int32_t previous_lsp[kLpcOrder];  // Q16
  int32_t last_rate;                // 14 after a concealed frame
  int32_t erasure_count;            // consecutive concealed frames, at most 3
  int32_t eighth_rate_run;          // consecutive eighth-rate frames, erasures not counted
  int32_t previous_gain_q16;        // magnitude of the last codebook gain
  gain_memory gains;
  synthesis_state synthesis;  // its pitch parameters serve concealment too
};

struct decoder_scratch {
  decoder_state *state;
  kelpd_frame_params params;
  int32_t lsp[kLpcOrder];  // Q16
  synthesis_parameters synthesis;
  int16_t *pcm;  // the caller's
};

struct decoder_handle {
  uint32_t tag;
  kcmn_bsr_state reader;
  decoder_scratch *scratch;
  kelp_config config;
  decoder_handle *self;
  decoder_state state;
  kelp_codec_ops ops;
};

inline constexpr uint32_t kDecoderTag = 0x4B4C5044;  // "DPLK"

// Gives a zeroed state its starting values.
void kelp_filter_init_dec(decoder_state *state);

}  // namespace kelp

#endif  // KELP_DEC_DECODER_STATE_H
