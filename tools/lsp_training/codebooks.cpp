// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "codebooks.h"

#include <algorithm>
#include <fstream>

#include "enc/lsp_quant.h"

namespace kelp::training {

codebooks::codebooks() {
  for (size_t s = 0; s < kSplits; s++) {
    rows_[s].assign(kelp_tbl_vq_lsp[s], kelp_tbl_vq_lsp[s] + size(s));
  }
}

step_range codebooks::range(size_t split) {
  constexpr step_range kRange[kSplits] = {
      {128, 6269}, {298, 10863}, {367, 11135}, {564, 9509}, {452, 9876}};
  return kRange[split];
}

void codebooks::enforce_rules() {
  for (size_t s = 0; s < kSplits; s++) {
    const step_range limits = range(s);
    // The trained steps nearest to the ends become the ends.
    int32_t *smallest = nullptr;
    int32_t *largest = nullptr;
    for (size_t r = 0; r < size(s); r++) {
      if (is_fixed(s, r)) continue;
      for (int32_t *step : {&rows_[s][r].first, &rows_[s][r].second}) {
        *step = std::clamp(*step, limits.smallest, limits.largest);
        if (smallest == nullptr || *step < *smallest) smallest = step;
        if (largest == nullptr || *step > *largest) largest = step;
      }
    }
    *smallest = limits.smallest;
    *largest = limits.largest;
  }
}

lsp_vector codebooks::quantize(const speech_frame &frame, index_vector *index) const {
  const kelp_lsp_pair *tables[kSplits];
  for (size_t s = 0; s < kSplits; s++) tables[s] = rows_[s].data();
  int32_t quantized[kOrder];
  search_lsp_codebooks(tables, frame.lsp.data(), frame.weight.data(), index->data(), quantized);
  lsp_vector result{};
  std::copy_n(quantized, kOrder, result.begin());
  return result;
}

bool codebooks::write(const std::string &path) const {
  std::ofstream out(path);
  out << "// Copyright 2026 The libkelp authors\n"
         "// SPDX-License-Identifier: Apache-2.0\n"
         "//\n"
         "// The split codebooks of LSP steps. Written by tools/lsp_training: do not edit by "
         "hand.\n"
         "\n"
         "#include \"kelp.h\"\n";
  for (size_t s = 0; s < kSplits; s++) {
    out << "\nconst kelp_lsp_pair kelp_tbl_lspvq" << s << '[' << size(s)
        << "] = {\n    // clang-format off\n";
    for (size_t r = 0; r < size(s); r++) {
      out << (r % 4 == 0 ? "    {" : " {") << rows_[s][r].first << ", " << rows_[s][r].second
          << (r % 4 == 3 ? "},\n" : "},");
    }
    out << "    // clang-format on\n};\n";
  }
  out << "\nconst kelp_lsp_pair *const kelp_tbl_vq_lsp[5] = {kelp_tbl_lspvq0, kelp_tbl_lspvq1, "
         "kelp_tbl_lspvq2,\n"
         "                                                 kelp_tbl_lspvq3, kelp_tbl_lspvq4};\n";
  return static_cast<bool>(out.flush());
}

}  // namespace kelp::training
