// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
#ifndef KELP_TOOLS_LSP_TRAINING_REFINE_H
#define KELP_TOOLS_LSP_TRAINING_REFINE_H

#include <cstddef>
#include <vector>

#include "codebooks.h"

namespace kelp::training {

struct distortion {
  double mean_db;
  double above_2db;  // share of frames
  double above_4db;
  double mean_cube;  // what refinement lowers
};

// Spectral distortion of the frames with the encoder's exact search.
distortion measure(const std::vector<speech_frame> &frames, const codebooks &books);

// One round of joint refinement: with the rows that the exact search chooses now, all rows of all
// five splits move at once to where the spectral distortion (to the power 3) of all frames is
// least, by the quadratic form of each frame's distortion. `step` (0 .. 1) is how far they go.
distortion refine(const std::vector<speech_frame> &frames, double step, codebooks *books);

// Moves up to `count` rows a split from where they do the least good to the costliest cells.
void move_useless_rows(const std::vector<speech_frame> &frames, size_t count, codebooks *books);

}  // namespace kelp::training

#endif  // KELP_TOOLS_LSP_TRAINING_REFINE_H
