// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// Measures the library's own codebooks on recorded speech.
//
//   lsp_report LIST

#include <array>
#include <cstdio>
#include <iostream>
#include <iterator>

#include "codebooks.h"
#include "refine.h"

using namespace kelp::training;

int main(int argc, char **argv) {
  if (argc != 2) {
    std::cerr << "usage: lsp_report LIST\n";
    return 2;
  }
  std::vector<speech_frame> active;
  std::array<size_t, 4> count{};
  for (const auto &frames : analyse_list(read_list(argv[1]))) {
    for (const speech_frame &frame : frames) {
      count[static_cast<size_t>(frame.kind)]++;
      if (frame.kind == frame_kind::active) active.push_back(frame);
    }
  }
  const distortion d = measure(prepare(active), codebooks());
  std::printf("%zu active frames: %.4f dB, %.2f %% above 2 dB, %.3f %% above 4 dB\n", active.size(),
              d.mean_db, 100 * d.above_2db, 100 * d.above_4db);
  std::printf("left out: %zu quiet, %zu without LSPs of their own, %zu overloaded\n", count[1],
              count[2], count[3]);
  return active.empty() ? 1 : 0;
}
