// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// The five split codebooks while they are trained, and the rules that every set keeps.
#ifndef KELP_TOOLS_LSP_TRAINING_CODEBOOKS_H
#define KELP_TOOLS_LSP_TRAINING_CODEBOOKS_H

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "common/lsp.h"
#include "kelp.h"
#include "speech.h"

namespace kelp::training {

inline constexpr size_t kSplits = kLspSplits;
// Rows of all splits are numbered through; the first one of each split.
inline constexpr std::array<size_t, kSplits + 1> kFirstRow = {0, 64, 192, 320, 384, 448};
inline constexpr size_t kRows = kFirstRow[kSplits];
using index_vector = std::array<uint32_t, kSplits>;

struct step_range {
  int32_t smallest;
  int32_t largest;
};

class codebooks {
 public:
  // The library's own tables.
  codebooks();

  static size_t size(size_t split) { return static_cast<size_t>(kLspSplitSize[split]); }
  // Rows 0 to 3 and the last one are part of the format.
  static bool is_fixed(size_t split, size_t row) { return row < 4 || row + 1 == size(split); }
  // The smallest and largest step of each table are part of the format too.
  static step_range range(size_t split);
  // The largest second step that a trained row may have after this first step. In the last split
  // both together may not reach farther than takes LSP 10 to the end of what decoders accept from
  // where LSP 8 usually is: the wider the step to LSP 9, the lower. While rows still move, the
  // bound is looser by `slack`.
  static constexpr int32_t kTrainingSlack = 200;
  static int32_t largest_second(size_t split, int32_t first, int32_t slack);

  kelp_lsp_pair &row(size_t split, size_t index) { return rows_[split][index]; }
  const kelp_lsp_pair &row(size_t split, size_t index) const { return rows_[split][index]; }

  // A start for training: gives every row that may move the steps of a frame drawn at random, of
  // several frames the one farthest from the rows there are, so that rare sounds have rows too.
  void scatter(const std::vector<speech_frame> &frames, uint64_t seed);

  // Brings every step into its table's range and makes one row reach either end.
  void enforce_rules(int32_t slack);

  // The exact search of the encoder; returns the quantized LSPs.
  std::array<int32_t, kOrder> quantize(const speech_frame &frame, index_vector *index) const;

  // Writes the C++ source of the tables. False when the file cannot be written.
  bool write(const std::string &path) const;

 private:
  std::array<std::vector<kelp_lsp_pair>, kSplits> rows_;
};

}  // namespace kelp::training

#endif  // KELP_TOOLS_LSP_TRAINING_CODEBOOKS_H
