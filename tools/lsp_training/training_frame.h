// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// What training learns from: frames of speech in single precision.
#ifndef KELP_TOOLS_LSP_TRAINING_TRAINING_FRAME_H
#define KELP_TOOLS_LSP_TRAINING_TRAINING_FRAME_H

#include <array>
#include <cstdint>
#include <vector>

#include "spectrum.h"
#include "speech.h"

namespace kelp::training {

// A frame as the search and the distance need it.
struct training_frame {
  alignas(64) std::array<float, kBins> reference_db;  // spectrum of the exact LSPs
  std::array<float, kOrder> lsp;                      // the encoder's
  std::array<float, kOrder> weight;                   // the encoder's, scaled to a sum of 1
  float share;                                        // of a whole frame's say in training
};
std::vector<training_frame> prepare(const std::vector<speech_frame> &frames);

// Copies of the frames whose last LSP is near what decoders take at either end, stretched in
// frequency some way towards that end: talkers with shorter and longer vocal tracts than those of
// the corpus. They have a quarter of a frame's say.
std::vector<training_frame> stretched_copies(const std::vector<speech_frame> &frames,
                                             uint64_t seed);

}  // namespace kelp::training

#endif  // KELP_TOOLS_LSP_TRAINING_TRAINING_FRAME_H
