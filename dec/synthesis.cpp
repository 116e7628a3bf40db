// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// The shared synthesis with the decoder's roundings, and its samples in 16 bits.

#include "dec/decoder.h"

namespace kelp {

int32_t kelpd_cmn_dec(decoder_scratch *frame) {
  synthesis_state *const state = &frame->state->synthesis;
  synthesis_buffer buffer;
  synthesize_frame(kDecoderSynthesis, state, &frame->synthesis, &buffer);
  state->kernels->to_pcm(buffer.samples(), KELP_FRAME_SAMPLES, frame->pcm);
  return KELP_OK;
}

}  // namespace kelp
