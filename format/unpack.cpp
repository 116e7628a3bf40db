// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "format/unpack.h"

namespace kelp {

int32_t kelpd_unpack(kcmn_bsr_state *reader, kelpd_frame_params *params) {
  params->rate = kcmn_bsr_read(reader, 8);
  if (params->rate == KELP_RATE_EIGHTH) params->seed = kcmn_bsr_peek(reader, 16);

  for (const payload_piece &piece : payload_layout(params->rate)) {
    if (piece.field == payload_field::filler) {
      kcmn_bsr_skip(reader, piece.width);
      continue;
    }
    // An exhausted reader returns more ones than were asked for.
    const uint32_t value = kcmn_bsr_read(reader, piece.width) & ((1U << piece.width) - 1);
    if (piece.field == payload_field::check) {
      if (value == 0) continue;
      params->rate = KELP_RATE_ERASURE;
      return 0;
    }
    payload_word(params->codes, piece) |= value << piece.low;
  }
  return 0;
}

void kelpd_unpack_pitch(kelpd_frame_params *params, int subframe) {
  params->current_pitch_gain = params->codes.pitch_gain[subframe];
  params->current_pitch_lag = params->codes.pitch_lag[subframe];
  params->current_pitch_frac = params->codes.pitch_frac[subframe];
}

}  // namespace kelp
