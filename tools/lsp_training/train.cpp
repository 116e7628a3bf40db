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

namespace {

// Rounds of joint refinement; keeps the best set met on the way and returns its cost.
double polish(const std::vector<training_frame> &frames, int rounds, codebooks *books) {
  codebooks best = *books;
  double best_cube = 1e30;
  for (int round = 0; round <= rounds; round++) {
    const codebooks before = *books;
    const double cube =
        (round < rounds ? refine(frames, 0.8, books) : measure(frames, *books)).mean_cube;
    if (cube < best_cube) {
      best_cube = cube;
      best = before;
    }
  }
  *books = best;
  return best_cube;
}

void print(int round, const distortion &d) {
  std::printf("round %3d: %.4f dB, %.2f %% above 2 dB, %.3f %% above 4 dB, cube %.4f\n", round,
              d.mean_db, 100 * d.above_2db, 100 * d.above_4db, d.mean_cube);
  std::fflush(stdout);
}

}  // namespace

int main(int argc, char **argv) {
  if (argc < 3 || argc > 4) {
    std::cerr << "usage: lsp_train LIST OUTPUT.cpp [ROUNDS]\n";
    return 2;
  }
  const int rounds = argc > 3 ? std::atoi(argv[3]) : 24;
  std::vector<speech_frame> frames;
  for (const auto &all : analyse_list(read_list(argv[1]))) {
    std::copy_if(all.begin(), all.end(), std::back_inserter(frames),
                 [](const speech_frame &f) { return f.kind == frame_kind::active; });
  }
  if (frames.size() < 10000) {
    std::cerr << argv[1] << ": only " << frames.size()
              << " frames of active speech; 10000 (200 s) are the least to train on\n";
    return 1;
  }
  std::printf("%zu frames of active speech\n", frames.size());

  codebooks best;
  train_initial(frames, 1, &best);
  const std::vector<training_frame> prepared = prepare(frames);
  double best_cube = polish(prepared, 3, &best);
  for (int round = 0; round < rounds; round++) {
    codebooks trial = best;
    const auto split = static_cast<size_t>(round) % kSplits;
    relocate_rows(prepared, split, 1 + static_cast<size_t>(round % 3), static_cast<uint64_t>(round),
                  &trial);
    const double cube = polish(prepared, 2, &trial);
    if (cube < best_cube) {
      best_cube = cube;
      best = trial;
    }
    if (round % 5 == 4) print(round, measure(prepared, best));
  }
  if (!best.write(argv[2])) {
    std::cerr << argv[2] << ": cannot be written; check the folder and its space\n";
    return 1;
  }
  return 0;
}
