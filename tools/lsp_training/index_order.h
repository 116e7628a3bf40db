// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// The order of the rows in each codebook: one under which a wrong bit of an index does little harm.
#ifndef KELP_TOOLS_LSP_TRAINING_INDEX_ORDER_H
#define KELP_TOOLS_LSP_TRAINING_INDEX_ORDER_H

#include <array>
#include <cstdint>
#include <vector>

#include "codebooks.h"
#include "search.h"

namespace kelp::training {

// What it does to a frame when a split's row is received as another one: squared spectral distance
// between the quantized sets sent and received, dB^2, times how often the row is sent.
class harm_table {
 public:
  // From up to 200 frames for each row.
  harm_table(const std::vector<training_frame> &frames, const codebooks &books);

  double at(size_t split, size_t sent, size_t received) const {
    return harm_[split][sent * codebooks::size(split) + received];
  }

 private:
  std::array<std::vector<double>, kSplits> harm_;
};

// Place of each row: row_at[split][index].
using row_order = std::array<std::vector<size_t>, kSplits>;
row_order natural_order();
// A random order of the rows that may move.
row_order random_order(uint64_t seed);

// Mean harm of one wrong bit among the 32, dB^2.
double harm_of_a_bit(const harm_table &harm, const row_order &order);

// An order of little harm, by exchanges of rows that are taken when they cost less than a threshold
// that falls to 0.
row_order gentle_order(const harm_table &harm, uint64_t seed);

void reorder(const row_order &order, codebooks *books);

}  // namespace kelp::training

#endif  // KELP_TOOLS_LSP_TRAINING_INDEX_ORDER_H
