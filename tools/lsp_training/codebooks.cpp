// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "codebooks.h"

#include <algorithm>
#include <fstream>
#include <limits>
#include <random>

#include "enc/lsp_quant.h"

namespace kelp::training {
namespace {

// The steps of a split that would give a frame's exact LSPs.
kelp_lsp_pair steps_of(const speech_frame &frame, size_t split) {
  const auto &lsp = frame.exact;
  const float below = split == 0 ? 0.F : lsp[2 * split - 1];
  return {static_cast<int32_t>(lsp[2 * split] - below),
          static_cast<int32_t>(lsp[2 * split + 1] - lsp[2 * split])};
}

// Squared distance of a pair of steps from the nearest of some rows.
int64_t gap_to(const std::vector<kelp_lsp_pair> &rows, const kelp_lsp_pair &pair) {
  int64_t least = std::numeric_limits<int64_t>::max();
  for (const kelp_lsp_pair &row : rows) {
    const int64_t d1 = pair.first - row.first;
    const int64_t d2 = pair.second - row.second;
    least = std::min(least, d1 * d1 + d2 * d2);
  }
  return least;
}

}  // namespace

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

int32_t codebooks::largest_second(size_t split, int32_t first, int32_t slack) {
  const int32_t largest = range(split).largest;
  return split + 1 == kSplits ? std::min(largest, 8550 + slack - 3 * first / 4) : largest;
}

void codebooks::scatter(const std::vector<speech_frame> &frames, uint64_t seed) {
  constexpr int kDraws = 3;
  std::mt19937_64 random(seed);
  for (size_t s = 0; s < kSplits; s++) {
    std::vector<kelp_lsp_pair> taken;
    for (size_t r = 0; r < size(s); r++) {
      if (is_fixed(s, r)) taken.push_back(row(s, r));
    }
    for (size_t r = 0; r < size(s); r++) {
      if (is_fixed(s, r)) continue;
      int64_t widest = -1;
      for (int draw = 0; draw < kDraws; draw++) {
        const kelp_lsp_pair pair = steps_of(frames[random() % frames.size()], s);
        const int64_t gap = gap_to(taken, pair);
        if (gap <= widest) continue;
        row(s, r) = pair;
        widest = gap;
      }
      taken.push_back(row(s, r));
    }
  }
  enforce_rules(kTrainingSlack);
}

void codebooks::enforce_rules(int32_t slack) {
  for (size_t s = 0; s < kSplits; s++) {
    const step_range limits = range(s);
    // The trained steps nearest to the ends become the ends: any step the smallest, a first step
    // the largest, since a set with a wide second step as well is rarely one that decoders take.
    kelp_lsp_pair *widest = nullptr;
    int32_t *smallest = nullptr;
    for (size_t r = 0; r < size(s); r++) {
      if (is_fixed(s, r)) continue;
      kelp_lsp_pair &pair = rows_[s][r];
      if (widest == nullptr || pair.first > widest->first) widest = &pair;
    }
    // No split is all fixed rows.
    // cppcheck-suppress nullPointer
    widest->first = limits.largest;
    for (size_t r = 0; r < size(s); r++) {
      if (is_fixed(s, r)) continue;
      kelp_lsp_pair &pair = rows_[s][r];
      pair.first = std::clamp(pair.first, limits.smallest, limits.largest);
      pair.second = std::clamp(pair.second, limits.smallest, largest_second(s, pair.first, slack));
      for (int32_t *step : {&pair.first, &pair.second}) {
        if (smallest == nullptr || *step < *smallest) smallest = step;
      }
    }
    *smallest = limits.smallest;
  }
}

std::array<int32_t, kOrder> codebooks::quantize(const speech_frame &frame,
                                                index_vector *index) const {
  const kelp_lsp_pair *tables[kSplits];
  for (size_t s = 0; s < kSplits; s++) tables[s] = rows_[s].data();
  std::array<int32_t, kOrder> quantized{};
  search_lsp_codebooks(encoder_kernels_for(best_instruction_set()), tables, frame.lsp.data(),
                       frame.weight.data(), index->data(), quantized.data());
  return quantized;
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
