// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// The encoder's search and the spectral distance once more, in single precision and fit for vector
// registers: training runs both some 10^9 times. What is reported is measured with the exact
// search.
#ifndef KELP_TOOLS_LSP_TRAINING_SEARCH_H
#define KELP_TOOLS_LSP_TRAINING_SEARCH_H

#include <array>

#include "codebooks.h"
#include "training_frame.h"

namespace kelp::training {

// All rows: how far LSP 2m and LSP 2m + 1 lie above the quantized LSP below their split.
struct row_table {
  alignas(64) std::array<float, kRows> first;
  alignas(64) std::array<float, kRows> both;
};
row_table rows_of(const codebooks &books);

// A row that a split may choose and its weighted error.
struct candidate {
  size_t row;
  float error;
};
inline constexpr size_t kNoRow = kRows;

// The rows chosen and the LSPs that they add up to.
struct path {
  std::array<size_t, kSplits> row;
  std::array<float, kOrder> lsp;

  // The quantized LSP from which a split steps on.
  float below(size_t split) const { return split == 0 ? 0.F : lsp[2 * split - 1]; }
  // Takes a row into the path.
  void choose(const row_table &rows, size_t split, size_t chosen);
};

// The row of a split with the least error, row `except` left out; ties go to the lowest.
candidate nearest(const row_table &rows, const training_frame &frame, size_t split, float below,
                  size_t except = kNoRow);

// Chooses rows from `split` on, as the encoder does.
void quantize_from(const row_table &rows, const training_frame &frame, size_t split, path *p);

// Squared spectral distance of an LSP set from the frame's reference, dB^2.
float squared_distance(const training_frame &frame, const std::array<float, kOrder> &lsp);
// The same, and how it changes with each LSP.
float squared_distance(const training_frame &frame, const std::array<float, kOrder> &lsp,
                       std::array<float, kOrder> *gradient);

// The spectrum of an LSP set, dB, by the same arithmetic.
void spectrum_of(const std::array<float, kOrder> &lsp, std::array<float, kBins> *db);

}  // namespace kelp::training

#endif  // KELP_TOOLS_LSP_TRAINING_SEARCH_H
