// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// Encoder and decoder over recorded speech, one frame an iteration:
//
//   kelp_bench RECORDING.wav [benchmark options]
//
// These machines are noisy: compare figures of one run, and take medians
// (--benchmark_repetitions=9 --benchmark_report_aggregates_only=true).

#include <benchmark/benchmark.h>
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <vector>

#include "kelp.h"

namespace {

constexpr size_t kFrame = KELP_FRAME_SAMPLES;
constexpr kelp_config kConfig = {};
std::vector<int16_t> speech;  // whole frames
std::vector<std::vector<uint8_t>> packets;

// Packet of frame i of the recording, which starts over at its end.
int32_t encode_frame(void *encoder, size_t i, uint8_t *bytes) {
  kelp_pcm_frame in = {};
  in.samples[0] = &speech[i * kFrame % speech.size()];
  kelp_packet_desc out = {};
  out.data = bytes;
  out.length = KELP_MAX_PACKET_BYTES;
  kelp_frame_info info = {};
  kelpe_encode(encoder, &in, &out, &info);
  return info.produced;
}

void encode(benchmark::State &state) {
  void *const encoder = kelpe_create(&kConfig, nullptr);
  uint8_t bytes[KELP_MAX_PACKET_BYTES];
  size_t i = 0;
  for (auto _ : state) benchmark::DoNotOptimize(encode_frame(encoder, i++, bytes));
  kelpe_flush(encoder);
  kelpe_delete(encoder);
}

void decode(benchmark::State &state) {
  void *const decoder = kelpd_create(&kConfig, nullptr);
  int16_t pcm[kFrame] = {};
  kelp_pcm_frame out = {};
  out.samples[0] = pcm;
  kelp_frame_info info = {};
  size_t i = 0;
  for (auto _ : state) {
    std::vector<uint8_t> &packet = packets[i++ % packets.size()];
    const kelp_packet_desc in = {packet.data(), 0, static_cast<int32_t>(packet.size())};
    benchmark::DoNotOptimize(kelpd_decode(decoder, &in, &out, &info));
  }
  kelpd_delete(decoder);
}

BENCHMARK(encode);
BENCHMARK(decode);

bool load(const char *path) {
  constexpr size_t kHeader = 44;
  std::ifstream file(path, std::ios::binary);
  const std::string bytes((std::istreambuf_iterator<char>(file)), {});
  if (bytes.size() < kHeader + 2 * kFrame) return false;
  speech.resize((bytes.size() - kHeader) / 2 / kFrame * kFrame);
  std::memcpy(speech.data(), bytes.data() + kHeader, speech.size() * 2);
  void *const encoder = kelpe_create(&kConfig, nullptr);
  for (size_t i = 0; i < speech.size() / kFrame; i++) {
    uint8_t packet[KELP_MAX_PACKET_BYTES];
    const int32_t length = encode_frame(encoder, i, packet);
    packets.emplace_back(packet, packet + length);
  }
  kelpe_flush(encoder);
  kelpe_delete(encoder);
  return true;
}

}  // namespace

int main(int argc, char **argv) {
  kelp_init();
  benchmark::Initialize(&argc, argv);
  if (argc != 2 || !load(argv[1])) {
    std::cerr << "usage: kelp_bench RECORDING.wav (8000 Hz, mono, 16 bit)\n";
    return 2;
  }
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
