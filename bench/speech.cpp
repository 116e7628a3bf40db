// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "bench/speech.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <set>
#include <sstream>
#include <string>

#include "enc/kernels.h"
#include "kelp.h"
#include "tests/handles.h"
#include "tests/recordings.h"
#include "tools/quality/codec.h"
#include "tools/quality/quality.h"

namespace kelp::bench {
namespace {

using quality::kFrame;
using samples = std::vector<int16_t>;

constexpr size_t kFramesPerSecond = 50;
constexpr size_t kShortestPause = 5;
constexpr size_t kActiveFrames = 3 * kFramesPerSecond;  // of each recording
constexpr size_t kShortestTurn = 2 * kFramesPerSecond;
constexpr size_t kGap = 15;                                    // between turns
constexpr size_t kConversationFrames = 30 * kFramesPerSecond;  // of each talker's line

void append(samples *to, const samples &from, size_t first, size_t frames) {
  const auto begin = from.begin() + static_cast<std::ptrdiff_t>(first * kFrame);
  to->insert(to->end(), begin, begin + static_cast<std::ptrdiff_t>(frames * kFrame));
}

// Which frames belong to pauses: runs of inactive frames that are long enough.
std::vector<bool> pauses(const samples &pcm) {
  const std::vector<bool> active = quality::active_frames(pcm);
  std::vector<bool> pause(active.size(), false);
  for (size_t k = 0, run = 0; k < active.size(); k++) {
    run = active[k] ? 0 : run + 1;
    for (size_t i = 0; run >= kShortestPause && i < run; i++) pause[k - i] = true;
  }
  return pause;
}

samples without_pauses(const samples &pcm) {
  const std::vector<bool> pause = pauses(pcm);
  samples result;
  for (size_t k = 0; k < pause.size() && result.size() < kActiveFrames * kFrame; k++) {
    if (!pause[k]) append(&result, pcm, k, 1);
  }
  return result;
}

std::vector<samples> turns(const samples &pcm) {
  const std::vector<bool> pause = pauses(pcm);
  std::vector<samples> result;
  size_t begin = 0;
  for (size_t k = 0; k <= pause.size(); k++) {
    if (k < pause.size() && (!pause[k] || k - begin < kShortestTurn)) continue;
    append(&result.emplace_back(), pcm, begin, k - begin);
    while (k < pause.size() && pause[k]) k++;  // the pause is the other talker's
    begin = k;
  }
  return result;
}

// The turns of both talkers: the languages go to one and the other in turn, and all recordings
// have their first turn before any has its second.
void share_out(const std::vector<kelp_test::recording> &recordings,
               std::vector<samples> of_talker[2]) {
  std::vector<std::vector<samples>> all;
  all.reserve(recordings.size());
  for (const kelp_test::recording &one : recordings) all.push_back(turns(one.pcm));
  for (size_t k = 0;; k++) {
    bool any = false;
    for (size_t i = 0; i < all.size(); i++) {
      if (k >= all[i].size()) continue;
      of_talker[i / 2 % 2].push_back(all[i][k]);
      any = true;
    }
    if (!any) return;
  }
}

samples converse(const std::vector<kelp_test::recording> &recordings) {
  std::vector<samples> of_talker[2];
  share_out(recordings, of_talker);
  samples line[2];
  const size_t count = 2 * std::min(of_talker[0].size(), of_talker[1].size());
  for (size_t turn = 0; turn < count; turn++) {
    samples &talking = line[turn % 2];
    const samples &what = of_talker[turn % 2][turn / 2];
    talking.insert(talking.end(), what.begin(), what.end());
    talking.resize(talking.size() + kGap * kFrame);
    line[1 - turn % 2].resize(talking.size());
  }
  samples result;
  for (const samples &one : line) append(&result, one, 0, kConversationFrames);
  kelp_test::random_numbers random(1);
  constexpr int kNoisePeak = 14;  // uniform: 8.4 rms
  for (int16_t &sample : result) {
    const int noisy = sample + random.between(-kNoisePeak, kNoisePeak);
    sample = static_cast<int16_t>(std::clamp<int>(noisy, INT16_MIN, INT16_MAX));
  }
  return result;
}

void print_rates(const char *name, const samples &pcm) {
  size_t frames[5] = {};
  for (const quality::packet &packet : quality::encode(pcm)) frames[packet[0]]++;
  const size_t whole = pcm.size() / kFrame;
  const auto all = static_cast<double>(whole);
  std::printf("%-13s %5.1f s, frames at full rate %5.1f %%, half %4.1f %%, eighth %4.1f %%\n", name,
              all / kFramesPerSecond, 100 * static_cast<double>(frames[KELP_RATE_FULL]) / all,
              100 * static_cast<double>(frames[KELP_RATE_HALF]) / all,
              100 * static_cast<double>(frames[KELP_RATE_EIGHTH]) / all);
}

// The first line of /proc/cpuinfo that begins so, after its colon.
std::string processor_field(const std::string &name) {
  std::ifstream file("/proc/cpuinfo");
  for (std::string line; std::getline(file, line);) {
    const size_t colon = line.find(": ");
    if (line.starts_with(name) && colon != std::string::npos) return line.substr(colon + 2);
  }
  return "";
}

// The kernels of the encoder. Those of the filters are the same, but AVX2's where the encoder's are
// AVX-512's.
const char *kernels_name() {
  const encoder_kernels *const chosen = &encoder_kernels_for(best_instruction_set());
  if (chosen == &kPlainKernels) return "plain";
  if (chosen == &encoder_kernels_for(instruction_set::baseline)) return "NEON";
  if (chosen == &encoder_kernels_for(instruction_set::avx2)) return "AVX2";
  return "AVX-512 (encoder's searches) and AVX2";
}

}  // namespace

speech load_speech() {
  const std::vector<kelp_test::recording> recordings = kelp_test::require_recordings();
  speech result;
  for (const kelp_test::recording &one : recordings) {
    append(&result.recordings, one.pcm, 0, one.pcm.size() / kFrame);
    const samples active = without_pauses(one.pcm);
    append(&result.active, active, 0, active.size() / kFrame);
  }
  result.conversation = converse(recordings);
  return result;
}

void print_setting(const speech &speech) {
  std::string model = processor_field("model name");
  if (model.empty()) model = processor_field("CPU implementer");
  std::printf("processor     %s, with", model.c_str());
  const std::set<std::string> interesting = {
      "sse2",    "ssse3",    "sse4_1",   "sse4_2",      "bmi2",  "avx",     "avx2",
      "avx512f", "avx512bw", "avx512vl", "avx512_vnni", "asimd", "asimddp", "sve"};
  for (const char *field : {"flags", "Features"}) {  // x86, arm64
    std::istringstream sets(processor_field(field));
    for (std::string set; sets >> set;) {
      if (interesting.contains(set)) std::printf(" %s", set.c_str());
    }
  }
  std::printf("\nkernels       %s\n", kernels_name());
  print_rates("recordings", speech.recordings);
  print_rates("active speech", speech.active);
  print_rates("conversation", speech.conversation);
}

}  // namespace kelp::bench
