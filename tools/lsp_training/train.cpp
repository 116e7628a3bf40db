// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// Trains the split codebooks of line spectral pairs on recorded speech and writes them as source.
//
//   lsp_train LIST OUTPUT.cpp [SEED [PASSES]]
//
// LIST names 8 kHz mono 16-bit WAV files, one a line. Same list, same seed, same tables.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iostream>

#include "codebooks.h"
#include "descent.h"
#include "index_order.h"
#include "measure.h"

using namespace kelp::training;

namespace {

void print_progress(int pass, double mean_cost) {
  if (pass % 10 == 9) std::printf("pass %3d: cost %.4f\n", pass + 1, mean_cost);
  static_cast<void>(std::fflush(stdout));  // only to be seen at once
}

void print_quality(const std::vector<speech_frame> &frames, const codebooks &books) {
  tally all;
  for (const judged_frame &frame : judge_all(frames, books)) all.add(frame);
  std::printf(
      "on the training set: %.4f dB, %.3f %% above 2 dB, %.4f %% above 4 dB, %.4f %% refused\n",
      all.mean_db(), all.percent(all.above_2db), all.percent(all.above_4db),
      all.percent(all.refused));
}

}  // namespace

int main(int argc, char **argv) {
  if (argc < 3 || argc > 5) {
    std::cerr << "usage: lsp_train LIST OUTPUT.cpp [SEED [PASSES]]\n";
    return 2;
  }
  const uint64_t seed = argc > 3 ? std::strtoull(argv[3], nullptr, 10) : 1;
  const int passes =
      argc > 4 ? std::max(1, static_cast<int>(std::strtol(argv[4], nullptr, 10))) : 60;
  const std::vector<speech_frame> frames = active_frames(argv[1]);
  if (frames.size() < 10000) {
    std::cerr << argv[1] << ": only " << frames.size()
              << " frames of active speech; 10000 (200 s) are the least to train on\n";
    return 1;
  }
  std::printf("%zu frames of active speech\n", frames.size());

  const std::vector<training_frame> prepared = prepare(frames);
  std::vector<training_frame> lessons = stretched_copies(frames, seed);
  lessons.insert(lessons.end(), prepared.begin(), prepared.end());
  codebooks books;
  books.scatter(frames, seed);
  // Once boldly, to get away from the start, and once more to settle.
  descend(lessons, {passes, 60, 0.35}, seed, print_progress, &books);
  descend(lessons, {passes, 3, 0.15}, seed, print_progress, &books);
  books.enforce_rules(0);
  reorder(gentle_order(harm_table(prepared, books), seed), &books);
  print_quality(frames, books);
  if (!books.write(argv[2])) {
    std::cerr << argv[2] << ": cannot be written; check the folder and its space\n";
    return 1;
  }
  return 0;
}
