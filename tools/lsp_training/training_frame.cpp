// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "training_frame.h"

#include <random>

#include "dec/dequant.h"
#include "parallel.h"
#include "search.h"

namespace kelp::training {

std::vector<training_frame> prepare(const std::vector<speech_frame> &frames) {
  std::vector<training_frame> result(frames.size());
  in_chunks(frames.size(), [&](size_t, size_t begin, size_t end) {
    for (size_t n = begin; n < end; n++) {
      double total = 0;
      for (const int64_t weight : frames[n].weight) total += static_cast<double>(weight);
      for (size_t k = 0; k < kOrder; k++) {
        result[n].lsp[k] = static_cast<float>(frames[n].lsp[k]);
        result[n].weight[k] = static_cast<float>(static_cast<double>(frames[n].weight[k]) / total);
      }
      result[n].share = 1;
      spectrum_of(frames[n].exact, &result[n].reference_db);
    }
  });
  return result;
}

std::vector<training_frame> stretched_copies(const std::vector<speech_frame> &frames,
                                             uint64_t seed) {
  // Near the end from here on; and how near the longest stretch comes.
  constexpr int32_t kHigh = 31000;
  constexpr int32_t kLow = 23000;
  constexpr int32_t kHighest = kUsableAtHalfAndFullRate.last_max - 25;
  constexpr int32_t kLowest = kUsableAtHalfAndFullRate.last_min + 12;
  std::mt19937_64 random(seed);
  std::vector<speech_frame> copies;
  for (const speech_frame &frame : frames) {
    const int32_t last = frame.lsp[kOrder - 1];
    if (last >= kLow && last <= kHigh) continue;
    const int32_t end = last > kHigh ? kHighest : kLowest;
    const float way = static_cast<float>(random() % 1024) / 1024;
    const float stretch = 1 + way * static_cast<float>(end - last) / static_cast<float>(last);
    speech_frame copy = frame;
    for (size_t k = 0; k < kOrder; k++) {
      copy.lsp[k] = static_cast<int32_t>(static_cast<float>(frame.lsp[k]) * stretch);
      copy.exact[k] *= stretch;
    }
    copies.push_back(copy);
  }
  std::vector<training_frame> result = prepare(copies);
  for (training_frame &copy : result) copy.share = 0.25F;
  return result;
}

}  // namespace kelp::training
