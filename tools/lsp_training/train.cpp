// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// Trains the split codebooks of line spectral pairs on recorded speech and writes them as source.
//
//   lsp_train LIST OUTPUT.cpp [ROUNDS]
//
// LIST names 8 kHz mono 16-bit WAV files, one a line. Same list, same tables.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <iterator>

#include "codebooks.h"
#include "initial.h"
#include "refine.h"

using namespace kelp::training;

int main(int argc, char **argv) {
  if (argc < 3 || argc > 4) {
    std::cerr << "usage: lsp_train LIST OUTPUT.cpp [ROUNDS]\n";
    return 2;
  }
  const int rounds = argc > 3 ? std::atoi(argv[3]) : 24;
  std::vector<speech_frame> frames;
  for (const recording &item : read_list(argv[1])) {
    const auto all = analyse_recording(item.path);
    std::copy_if(all.begin(), all.end(), std::back_inserter(frames),
                 [](const speech_frame &f) { return f.kind == frame_kind::active; });
  }
  if (frames.size() < 10000) {
    std::cerr << argv[1] << ": only " << frames.size()
              << " frames of active speech; 10000 (200 s) are the least to train on\n";
    return 1;
  }
  std::printf("%zu frames of active speech\n", frames.size());

  constexpr uint64_t kSeed = 1;
  codebooks books;
  train_initial(frames, kSeed, &books);
  codebooks best = books;
  double best_cube = 1e30;
  for (int round = 0; round < rounds; round++) {
    const codebooks before = books;
    // Rows move house in the first two thirds, every third round.
    if (round % 3 == 2 && round < rounds * 2 / 3) move_useless_rows(frames, 4, &books);
    const distortion d = refine(frames, 0.7, &books);
    if (d.mean_cube < best_cube && round % 3 != 2) {
      best_cube = d.mean_cube;
      best = before;
    }
    std::printf("round %2d: %.4f dB, %.2f %% above 2 dB, %.3f %% above 4 dB, cube %.4f\n", round,
                d.mean_db, 100 * d.above_2db, 100 * d.above_4db, d.mean_cube);
    std::fflush(stdout);
  }
  if (measure(frames, books).mean_cube < best_cube) best = books;
  if (!best.write(argv[2])) {
    std::cerr << argv[2] << ": cannot be written; check the folder and its space\n";
    return 1;
  }
  return 0;
}
