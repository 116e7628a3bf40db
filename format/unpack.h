// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
#ifndef KELP_FORMAT_UNPACK_H
#define KELP_FORMAT_UNPACK_H

#include <cstdint>

#include "format/payload.h"
#include "kelp.h"

namespace kelp {

// One packet, unpacked. Zeroed before each frame.
struct kelpd_frame_params {
  payload_codes codes;
  uint32_t rate;  // first byte of the packet; KELP_RATE_ERASURE when a check fails
  uint32_t seed;  // eighth rate: the first 16 payload bits
  // The pitch subframe being decoded, see kelpd_unpack_pitch.
  uint32_t current_pitch_gain;
  uint32_t current_pitch_lag;
  uint32_t current_pitch_frac;
};

// Reads one packet from `reader`. Always 0: a failed check is told by the rate. Each field stays
// within its width whatever the packet holds; past its end every bit reads as 1.
int32_t kelpd_unpack(kcmn_bsr_state *reader, kelpd_frame_params *params);

// Makes pitch subframe 0 .. 3 the current one.
void kelpd_unpack_pitch(kelpd_frame_params *params, int subframe);

}  // namespace kelp

#endif  // KELP_FORMAT_UNPACK_H
