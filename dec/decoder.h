// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
#ifndef KELP_DEC_DECODER_H
#define KELP_DEC_DECODER_H

#include <cstdint>

#include "dec/decoder_state.h"
#include "kelp.h"

namespace kelp {

// The decoder handle's process operation: one packet to 160 samples.
//   handle       decoder_handle
//   packet       const kelp_packet_desc
//   audio, info  kelp_pcm_frame, kelp_frame_info: written when the result is 0
int32_t kelpd_dec(void *handle, void *packet, void *audio, void *info);

// Prediction coefficients of the frame's subframes, each from its own mix of `lsp` (Q16) and the
// frame before: weights[s] eighths of lsp.
inline void kelpd_lpc_convert(const int32_t lsp[kLpcOrder], const int16_t weights[kSets],
                              decoder_scratch *frame) {
  const decoder_state &state = *frame->state;
  state.synthesis.kernels->lpc(state.previous_lsp, lsp, weights, &frame->synthesis.lpc_q14);
}

// Fills the frame from the state alone: a lost packet, or one whose LSPs are unusable. Returns 0.
int32_t conceal_frame(decoder_scratch *frame);

inline constexpr synthesis_policy kDecoderSynthesis = {.rounding = pitch_rounding::each_term,
                                                       .match_bits = 1,
                                                       .control_bits = 1,
                                                       .fir_shift = 14,
                                                       .smoothing = true,
                                                       .postfilter = true};

// The frame that frame->synthesis describes, into frame->pcm. Returns 0.
int32_t kelpd_cmn_dec(decoder_scratch *frame);

}  // namespace kelp

#endif  // KELP_DEC_DECODER_H
