// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
#ifndef KELP_TOOLS_LSP_TRAINING_REFINE_H
#define KELP_TOOLS_LSP_TRAINING_REFINE_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "codebooks.h"

namespace kelp::training {

// A frame with what refinement asks of it again and again, computed once.
struct training_frame {
  speech_frame speech;
  std::array<float, kBins> reference_db;                // spectrum of the exact LSPs
  std::array<float, kOrder *(kOrder + 1) / 2> hessian;  // lower triangle, row by row
};
std::vector<training_frame> prepare(const std::vector<speech_frame> &frames);

struct distortion {
  double mean_db;
  double above_2db;  // share of frames
  double above_4db;
  double mean_cube;  // what refinement lowers
};

// Spectral distortion with the encoder's exact search.
distortion measure(const std::vector<training_frame> &frames, const codebooks &books);

// One round of joint refinement: with the rows that the exact search chooses now, all rows of all
// five splits move at once towards where the cube of the spectral distortion, summed over the
// frames, is least by the quadratic form of each frame's distortion. `step` (0 .. 1) is how far
// they go. Returns the distortion before the move.
distortion refine(const std::vector<training_frame> &frames, double step, codebooks *books);

// Moves `count` rows of a split from where they do the least good to cells chosen at random by
// their cost.
void relocate_rows(const std::vector<training_frame> &frames, size_t split, size_t count,
                   uint64_t seed, codebooks *books);

}  // namespace kelp::training

#endif  // KELP_TOOLS_LSP_TRAINING_REFINE_H
