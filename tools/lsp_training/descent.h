// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// Joint training of all rows of all five splits by stochastic gradient descent.
#ifndef KELP_TOOLS_LSP_TRAINING_DESCENT_H
#define KELP_TOOLS_LSP_TRAINING_DESCENT_H

#include <cstdint>
#include <functional>
#include <vector>

#include "codebooks.h"
#include "search.h"

namespace kelp::training {

// A stretch of training in which steps shrink and the look at boundaries narrows.
struct stage {
  int passes;      // over all frames
  double boldest;  // move of an LSP step per update, at the start
  double widest;   // look at boundaries, as `width` below, at the start
};

// What a frame costs: its spectral distance to the power 2.5, plus what makes decoders refuse it.
float cost(float squared_distance, const std::array<float, kOrder> &lsp);

// The mean cost over `frames[order[..]]` and how it changes with every step of every row (two a
// row, rows numbered through). `width` is how near to a tie, relative to their mean error, the two
// best rows of a split must be to tell what it costs to hand frames from one to the other.
double cost_gradient(const std::vector<training_frame> &frames, const uint32_t *order, size_t count,
                     const row_table &rows, float width, std::vector<double> *gradient);

// Lowers the mean cost; the rules hold at the end, with the slack of training. The seed is that of
// the order of the frames. Calls `progress` after each pass, with the mean cost during it.
void descend(const std::vector<training_frame> &frames, const stage &plan, uint64_t seed,
             const std::function<void(int pass, double mean_cost)> &progress, codebooks *books);

}  // namespace kelp::training

#endif  // KELP_TOOLS_LSP_TRAINING_DESCENT_H
