// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// Measures the library's own codebooks on recorded speech.
//
//   lsp_report LIST
//
// After the path and a tab a line of LIST may name the recording's condition (send characteristic,
// level, background) and after another tab its source: distortion is told apart by each.

#include <algorithm>
#include <array>
#include <cstdio>
#include <iostream>
#include <map>
#include <sstream>
#include <string>

#include "codebooks.h"
#include "index_order.h"
#include "measure.h"

using namespace kelp::training;

namespace {

constexpr int kRandomOrders = 20;

// "send flat", "level -28", ... of a recording.
std::vector<std::string> groups(const recording &one) {
  static constexpr std::array<const char *, 3> kNames = {"send ", "level ", "background "};
  std::vector<std::string> result;
  std::istringstream words(one.condition);
  for (const char *name : kNames) {
    std::string word;
    if (words >> word) result.push_back(name + word);
  }
  if (!one.source.empty()) result.push_back("source " + one.source);
  return result;
}

void print_row(const std::string &name, const tally &t) {
  std::printf("%-38s %8zu %7.4f %7.3f %7.4f   %7.4f %5zu %8zu\n", name.c_str(), t.frames,
              t.mean_db(), t.percent(t.above_2db), t.percent(t.above_4db), t.percent(t.refused),
              t.refused, t.refused_as_it_is);
}

// How often each row was chosen; fixed rows marked.
void print_use(const std::vector<judged_frame> &judged) {
  constexpr size_t kPerLine = 8;
  for (size_t s = 0; s < kSplits; s++) {
    std::vector<size_t> use(codebooks::size(s));
    for (const judged_frame &frame : judged) use[frame.index[s]]++;
    std::printf("\nFrames that chose each row of split %zu (* fixed), %td rows never:\n", s,
                std::count(use.begin(), use.end(), size_t{0}));
    for (size_t r = 0; r < use.size(); r++) {
      if (r % kPerLine == 0) std::printf("  %3zu:", r);
      std::printf(" %6zu%c", use[r], codebooks::is_fixed(s, r) ? '*' : ' ');
      if (r % kPerLine == kPerLine - 1) std::printf("\n");
    }
  }
}

void print_harm(const std::vector<speech_frame> &frames) {
  const harm_table harm(prepare(frames), codebooks());
  double random = 0;
  for (int n = 0; n < kRandomOrders; n++) {
    random += harm_of_a_bit(harm, random_order(static_cast<uint64_t>(n))) / kRandomOrders;
  }
  const double ours = harm_of_a_bit(harm, natural_order());
  std::printf("\nOne wrong bit: %.2f dB^2; with rows in random order %.2f dB^2; ratio %.3f\n", ours,
              random, ours / random);
}

}  // namespace

int main(int argc, char **argv) {
  if (argc != 2) {
    std::cerr << "usage: lsp_report LIST\n";
    return 2;
  }
  const std::vector<recording> list = read_list(argv[1]);
  const auto recordings = analyse_list(list);
  const codebooks books;
  std::array<size_t, 4> count{};
  std::vector<speech_frame> active;
  std::vector<judged_frame> judged;
  std::map<std::string, tally> tallies;
  tally all;
  for (size_t i = 0; i < list.size(); i++) {
    std::vector<speech_frame> frames;
    for (const speech_frame &frame : recordings[i]) {
      count[static_cast<size_t>(frame.kind)]++;
      if (frame.kind == frame_kind::active) frames.push_back(frame);
    }
    for (const judged_frame &frame : judge_all(frames, books)) {
      all.add(frame);
      for (const std::string &group : groups(list[i])) tallies[group].add(frame);
      judged.push_back(frame);
    }
    active.insert(active.end(), frames.begin(), frames.end());
  }
  if (active.empty()) {
    std::cerr << argv[1] << ": names no recording with active speech\n";
    return 1;
  }
  std::printf("%-38s %8s %7s %7s %7s   %7s %5s %8s\n", "", "frames", "mean dB", ">2dB %", ">4dB %",
              "refuse%", "", "as it is");
  for (const auto &[name, t] : tallies) print_row(name, t);
  print_row("all", all);
  std::printf("\nLeft out: %zu quiet frames, %zu without LSPs of their own, %zu overloaded.\n",
              count[1], count[2], count[3]);
  std::printf(
      "Refused: decoders would conceal the quantized set; \"as it is\": the set before "
      "quantization as well.\n");
  print_use(judged);
  print_harm(active);
  return 0;
}
