// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// The same hour of speech again and again through one encoder and one decoder, in a line of figures
// for each. Fails when memory grows, or when what the encoder believes the past excitation to be
// moves away from what the decoder has.   kelp_endurance HOUR.raw HOURS
#include <fstream>
#include <malloc.h>
#include <string>
#include <utility>

#include "tests/handles.h"
#include "tests/recordings.h"

using namespace kelp_test;

namespace {

constexpr size_t kFramesPerHour = 180000;

size_t resident_kilobytes() {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with("VmRSS:")) return std::stoul(line.substr(6));
  }
  return 0;
}

struct hour {
  double mean_margin_db = 0, least_margin_db = 999;  // of blocks of 200 full-rate frames
  int rates[5] = {};
  size_t heap = 0, resident = 0;
};

hour code_hour(const pcm_samples &pcm, size_t *position, encoder *encoder, decoder *decoder) {
  hour result;
  double block = 0;
  for (size_t f = 0; f < kFramesPerHour; f++) {
    const packet bytes = encoder->encode(&pcm[*position]);
    decoder->decode(bytes);
    *position += KELP_FRAME_SAMPLES;
    if (*position + KELP_FRAME_SAMPLES > pcm.size()) *position = 0;
    const int count = ++result.rates[bytes[0]];
    if (bytes[0] != KELP_RATE_FULL) continue;
    const double margin = history_margin_db(encoder, decoder);
    result.mean_margin_db += margin;
    block += margin / 200;
    if (count % 200 != 0) continue;
    result.least_margin_db = std::min(result.least_margin_db, std::exchange(block, 0));
  }
  result.mean_margin_db /= result.rates[KELP_RATE_FULL];
  result.heap = mallinfo2().uordblks;
  result.resident = resident_kilobytes();
  return result;
}

}  // namespace

int main(int argc, char **argv) {
  const int hours = argc == 3 ? static_cast<int>(std::strtol(argv[2], nullptr, 10)) : 0;
  const pcm_samples pcm = argc == 3 ? read_pcm(argv[1]) : pcm_samples{};
  if (hours < 1 || pcm.size() < KELP_FRAME_SAMPLES) {
    std::fprintf(stderr, "usage: kelp_endurance HOUR.raw HOURS\n");
    return 2;
  }
  encoder encoder;
  decoder decoder;
  size_t position = 0;
  hour first;
  bool steady = true;
  std::printf("hour  full    half    eighth  histories agree to (worst)  heap     resident\n");
  for (int i = 1; i <= hours; i++) {
    const hour now = code_hour(pcm, &position, &encoder, &decoder);
    std::printf("%4d  %6d  %6d  %6d      %.1f dB (%.1f)        %zu B  %zu kB\n", i, now.rates[4],
                now.rates[3], now.rates[1], now.mean_margin_db, now.least_margin_db, now.heap,
                now.resident);
    std::fflush(stdout);
    if (i == 1) first = now;
    // The heap stays as it is to the byte. Resident memory may settle by some pages.
    steady = steady && now.heap == first.heap && now.resident < first.resident + 1024 &&
             std::abs(now.mean_margin_db - first.mean_margin_db) < 0.5 &&
             std::abs(now.least_margin_db - first.least_margin_db) < 3 && now.least_margin_db > 70;
  }
  std::printf("%s\n", steady ? "steady" : "not steady");
  return steady ? 0 : 1;
}
