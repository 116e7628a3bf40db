// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// Speed over recorded speech:   kelp_bench [benchmark options]
//
//   encode/RATE, decode/RATE  a frame of that rate: frames of the recordings, each in the state
//                             that the stream before it left; the mean over frames
//   .../conversation          a frame of the conversation, streamed (bench/speech.h)
//   encoder/STAGE/RATE, decoder/STAGE/RATE
//                             all that a frame spends in a stage (stage_bench.cpp)
//   streams/threads:N         the conversation on N threads, kStreams encoders and decoders on
//                             each: how many such pairs keep up with real time. `streams` is by
//                             the clock and for all threads, so it needs an idle machine;
//                             `per_core` is by the threads' processor time, as if each had a core
//                             to itself
//
// Of all but streams the Time column counts and is in microseconds a frame: of each frame the
// median of its tries, so that other processes do not show. The CPU column is the measuring itself.
// A frame that is run again and again finds its branches predicted; a streamed one does not.

#include <algorithm>
#include <benchmark/benchmark.h>
#include <cstdio>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "bench/captured.h"
#include "bench/speech.h"
#include "bench/stage_bench.h"
#include "bench/timing.h"
#include "tests/handles.h"
#include "tools/quality/codec.h"

namespace kelp::bench {
namespace {

constexpr size_t kFrame = KELP_FRAME_SAMPLES;
constexpr size_t kCaptured = 64;  // frames of each rate
constexpr size_t kStreams = 32;

// The bare calls: the handles of the tests check too much to be timed.
int32_t encode(void *encoder, const int16_t *pcm, uint8_t *bytes) {
  kelp_pcm_frame in = {};
  in.samples[0] = const_cast<int16_t *>(pcm);  // only read
  kelp_packet_desc out = {};
  out.data = bytes;
  out.length = KELP_MAX_PACKET_BYTES;
  kelp_frame_info info = {};
  return kelpe_encode(encoder, &in, &out, &info);
}
int32_t decode(void *decoder, const std::vector<uint8_t> &packet, int16_t *pcm) {
  kelp_packet_desc in = {const_cast<uint8_t *>(packet.data()), 0,
                         static_cast<int32_t>(packet.size())};
  kelp_pcm_frame out = {};
  out.samples[0] = pcm;
  kelp_frame_info info = {};
  return kelpd_decode(decoder, &in, &out, &info);
}

double encode_captured(const std::vector<captured_frame> &frames) {
  kelp_test::encoder encoder;
  uint8_t bytes[KELP_MAX_PACKET_BYTES];
  double sum = 0;
  for (const captured_frame &frame : frames) {
    sum += typical_seconds([&] { encoder.state() = frame.before_encoding; },
                           [&] { encode(encoder.handle, frame.pcm, bytes); });
    kelp_test::require(std::equal(frame.packet.begin(), frame.packet.end(), bytes),
                       "a frame run again gives its packet");
  }
  return sum / static_cast<double>(frames.size());
}

double decode_captured(const std::vector<captured_frame> &frames) {
  kelp_test::decoder decoder;
  int16_t pcm[kFrame];
  double sum = 0;
  for (const captured_frame &frame : frames) {
    sum += typical_seconds([&] { decoder.state() = frame.before_decoding; },
                           [&] { decode(decoder.handle, frame.packet, pcm); });
  }
  return sum / static_cast<double>(frames.size());
}

// Streams frames 0 to count - 1, several times over, by code(handles, frame).
template <typename Handle, typename Code>
double stream_seconds(size_t count, const Code &code) {
  constexpr int kPasses = 5;
  std::vector<std::vector<double>> tries(count);
  for (int pass = 0; pass < kPasses; pass++) {
    Handle handle;
    for (size_t k = 0; k < count; k++) {
      tries[k].push_back(seconds([&] { code(handle.handle, k); }));
    }
  }
  double sum = 0;
  for (const std::vector<double> &one : tries) sum += median(one);
  return sum / static_cast<double>(count);
}

double encode_stream(const std::vector<int16_t> &pcm) {
  uint8_t bytes[KELP_MAX_PACKET_BYTES];
  return stream_seconds<kelp_test::encoder>(pcm.size() / kFrame, [&](void *encoder, size_t k) {
    encode(encoder, &pcm[k * kFrame], bytes);
  });
}

double decode_stream(const std::vector<quality::packet> &packets) {
  int16_t pcm[kFrame];
  return stream_seconds<kelp_test::decoder>(
      packets.size(), [&](void *decoder, size_t k) { decode(decoder, packets[k], pcm); });
}

// Every stream is at another place of the conversation. An iteration is a frame of each stream.
void run_streams(benchmark::State &state, const std::vector<int16_t> &pcm,
                 const std::vector<quality::packet> &packets) {
  const auto encoders = std::make_unique<kelp_test::encoder[]>(kStreams);
  const auto decoders = std::make_unique<kelp_test::decoder[]>(kStreams);
  const size_t frames = packets.size();
  const size_t spacing = frames / kStreams;
  uint8_t bytes[KELP_MAX_PACKET_BYTES];
  int16_t decoded[kFrame];
  size_t at = static_cast<size_t>(state.thread_index()) * spacing / 2;
  const double start = thread_seconds();
  for (auto _ : state) {
    for (size_t i = 0; i < kStreams; i++) {
      const size_t k = (at + i * spacing) % frames;
      encode(encoders[i].handle, &pcm[k * kFrame], bytes);
      decode(decoders[i].handle, packets[k], decoded);
    }
    at++;
  }
  constexpr double kFramesPerSecond = 50;
  const double streams =
      static_cast<double>(state.iterations()) * static_cast<double>(kStreams) / kFramesPerSecond;
  state.counters["streams"] = benchmark::Counter(streams, benchmark::Counter::kIsRate);
  state.counters["per_core"] =
      benchmark::Counter(streams / (thread_seconds() - start), benchmark::Counter::kAvgThreads);
}

void add_frames(const speech &speech) {
  const auto &pcm = speech.conversation;
  const std::vector<quality::packet> packets = quality::encode(pcm);
  const std::pair<const char *, int32_t> rates[] = {
      {"full", KELP_RATE_FULL}, {"half", KELP_RATE_HALF}, {"eighth", KELP_RATE_EIGHTH}};
  for (const auto &[name, rate] : rates) {
    const auto frames = std::make_shared<const std::vector<captured_frame>>(
        capture_frames(speech.recordings, rate, kCaptured));
    add_measurement(std::string("encode/") + name, [frames] { return encode_captured(*frames); });
    add_measurement(std::string("decode/") + name, [frames] { return decode_captured(*frames); });
    add_stages(name, frames);
  }
  add_measurement("encode/conversation", [pcm] { return encode_stream(pcm); });
  add_measurement("decode/conversation", [packets] { return decode_stream(packets); });
  auto *const streams = benchmark::RegisterBenchmark(
      "streams", [pcm, packets](benchmark::State &state) { run_streams(state, pcm, packets); });
  const int cores = static_cast<int>(std::max(std::thread::hardware_concurrency(), 1U));
  for (int threads = 1; threads < cores; threads *= 2) streams->Threads(threads);
  streams->Threads(cores)->UseRealTime()->Unit(benchmark::kMillisecond);
}

}  // namespace

void add_measurement(const std::string &name, const std::function<double()> &mean_seconds) {
  benchmark::RegisterBenchmark(name.c_str(),
                               [mean_seconds](benchmark::State &state) {
                                 for (auto _ : state) state.SetIterationTime(mean_seconds());
                               })
      ->UseManualTime()
      ->Iterations(1)
      ->Unit(benchmark::kMicrosecond);
}

}  // namespace kelp::bench

int main(int argc, char **argv) {
  kelp_init();
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  const kelp::bench::speech speech = kelp::bench::load_speech();
  kelp::bench::print_setting(speech);
  kelp::bench::add_frames(speech);
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
