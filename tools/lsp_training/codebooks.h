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

  kelp_lsp_pair &row(size_t split, size_t index) { return rows_[split][index]; }
  const kelp_lsp_pair &row(size_t split, size_t index) const { return rows_[split][index]; }

  // Brings every step into its table's range and makes one row reach either end.
  void enforce_rules();

  // The exact search of the encoder; returns the quantized LSPs.
  lsp_vector quantize(const speech_frame &frame, index_vector *index) const;

  // Writes the C++ source of the tables. False when the file cannot be written.
  bool write(const std::string &path) const;

 private:
  std::array<std::vector<kelp_lsp_pair>, kSplits> rows_;
};

}  // namespace kelp::training

#endif  // KELP_TOOLS_LSP_TRAINING_CODEBOOKS_H
