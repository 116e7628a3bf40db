// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "measure.h"

#include <algorithm>

#include "dec/dequant.h"
#include "parallel.h"

namespace kelp::training {

judged_frame judge(const speech_frame &frame, const codebooks &books) {
  judged_frame result{};
  const std::array<int32_t, kOrder> lsp = books.quantize(frame, &result.index);
  lsp_vector exact{};
  lsp_vector quantized{};
  std::copy(frame.exact.begin(), frame.exact.end(), exact.begin());
  std::copy(lsp.begin(), lsp.end(), quantized.begin());
  result.distance_db = spectral_distance(exact, quantized);
  result.refused = !lsps_usable(kUsableAtHalfAndFullRate, lsp.data());
  result.refused_as_it_is = !lsps_usable(kUsableAtHalfAndFullRate, frame.lsp.data());
  return result;
}

std::vector<judged_frame> judge_all(const std::vector<speech_frame> &frames,
                                    const codebooks &books) {
  std::vector<judged_frame> result(frames.size());
  in_chunks(frames.size(), [&](size_t, size_t begin, size_t end) {
    for (size_t i = begin; i < end; i++) result[i] = judge(frames[i], books);
  });
  return result;
}

void tally::add(const judged_frame &frame) {
  frames++;
  sum_db += frame.distance_db;
  if (frame.distance_db > 2) above_2db++;
  if (frame.distance_db > 4) above_4db++;
  if (frame.refused) refused++;
  if (frame.refused && frame.refused_as_it_is) refused_as_it_is++;
}

}  // namespace kelp::training
