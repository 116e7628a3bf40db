// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// How well codebooks quantize: the encoder's exact search, distances in double precision.
#ifndef KELP_TOOLS_LSP_TRAINING_MEASURE_H
#define KELP_TOOLS_LSP_TRAINING_MEASURE_H

#include <array>
#include <cstddef>
#include <vector>

#include "codebooks.h"
#include "speech.h"

namespace kelp::training {

struct judged_frame {
  index_vector index;
  double distance_db;     // between the exact and the quantized LSPs
  bool refused;           // decoders conceal the quantized set
  bool refused_as_it_is;  // they would conceal the analysed set too
};
judged_frame judge(const speech_frame &frame, const codebooks &books);

// In the order of the frames.
std::vector<judged_frame> judge_all(const std::vector<speech_frame> &frames,
                                    const codebooks &books);

struct tally {
  size_t frames = 0;
  double sum_db = 0;
  size_t above_2db = 0;
  size_t above_4db = 0;
  size_t refused = 0;
  size_t refused_as_it_is = 0;  // of the refused ones

  void add(const judged_frame &frame);
  double mean_db() const { return sum_db / static_cast<double>(frames); }
  double percent(size_t count) const {
    return 100 * static_cast<double>(count) / static_cast<double>(frames);
  }
};

}  // namespace kelp::training

#endif  // KELP_TOOLS_LSP_TRAINING_MEASURE_H
