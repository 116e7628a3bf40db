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

// What kernels were called with.
struct pitch_search_call {
  int32_t target[kPitchSubframe], h[kImpulseResponse], history[kPitchHistory];
};
struct codebook_search_call {
  const int16_t *codebook;  // to be filtered, or null: to be searched as it was
  int32_t h[kImpulseResponse];
  int32_t target[kPitchSubframe];
};
struct short_term_call {
  synthesis_buffer buffer;
  coefficient_sets lpc;
  int32_t formant_memory[kLpcOrder], pole_memory[kLpcOrder], bright_memory;
  short_term_filters filters;  // with whose memories and coefficients
  int subframes, n, sets;
};
struct captured_calls {
  std::vector<pitch_search_call> pitch_search;
  std::vector<codebook_search_call> codebook_search;
  std::vector<short_term_call> short_term;
};

// This machine's kernels, which put what they are called with into *captured_into first.
extern captured_calls *captured_into;
const encoder_kernels &capturing_encoder_kernels();
const filter_kernels &capturing_filter_kernels();

}  // namespace kelp::bench

#endif  // KELP_BENCH_CAPTURED_H
