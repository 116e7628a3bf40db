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

// Fills the frame from the state alone: a lost packet, or one whose LSPs are unusable. Returns 0.
int32_t conceal_frame(decoder_scratch *frame);

// One subframe of frame->coefficients[set], frame->pitch and frame->records into frame->pcm: n
// samples from `start` on, in c codebook subframes.
void decode_subframe(decoder_scratch *frame, int32_t rate, int set, int start, int n, int c);

// One subframe of synthesis, see common/synthesis.h. `output` is Q12. Returns 0.
int32_t kelpd_cmn_dec(int32_t rate, decoder_state *state, const subframe_coefficients &coefficients,
                      const pitch_parameters &pitch, codebook_record *records, int32_t *output,
                      int n, int c);

}  // namespace kelp

#endif  // KELP_DEC_DECODER_H
