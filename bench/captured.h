// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// Frames of recorded speech together with the state in which the codec met them, so that a frame,
// or one stage of it, can be run again and again as it ran in the stream.
#ifndef KELP_BENCH_CAPTURED_H
#define KELP_BENCH_CAPTURED_H

#include <cstdint>
#include <span>
#include <vector>

#include "dec/decoder_state.h"
#include "enc/encoder_state.h"
#include "enc/excitation_search.h"

namespace kelp::bench {

struct captured_frame {
  encoder_state before_encoding;
  decoder_state before_decoding;
  int16_t pcm[KELP_FRAME_SAMPLES];
  std::vector<uint8_t> packet;
};

// At most `most` frames that the encoder sends at this rate, spread evenly over the stream.
std::vector<captured_frame> capture_frames(std::span<const int16_t> pcm, int32_t rate, size_t most);

// The arguments of calls inside the library, which the linker hands to captured.cpp (--wrap).
struct pitch_search_call {
  int32_t target[kPitchSubframe], h[kImpulseResponse], history[kPitchHistory];
};
struct codebook_search_call {
  int32_t target[kPitchSubframe], h[kImpulseResponse];
  const int16_t *codebook;
  int n;
};
struct synthesis_call {
  int32_t rate;
  decoder_state state;
  subframe_coefficients coefficients;
  pitch_parameters pitch;
  codebook_record records[5];
  int n, c;
};
struct captured_calls {
  std::vector<pitch_search_call> pitch_search;
  std::vector<codebook_search_call> codebook_search;
  std::vector<synthesis_call> synthesis;
};

// Calls go here as they are made, while it is not null.
extern captured_calls *capture_into;

}  // namespace kelp::bench

#endif  // KELP_BENCH_CAPTURED_H
