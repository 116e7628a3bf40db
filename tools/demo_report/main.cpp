// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// The demo's report: what the codec made of a recording and how fast.
//
//   kelp_demo_report RECORDING.wav PACKETS.kelp
#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <exception>
#include <iostream>
#include <string>
#include <vector>

#include "kelp.h"
#include "tools/kelp/failure.h"
#include "tools/kelp/packet_file.h"
#include "tools/kelp/rates.h"
#include "tools/kelp/recording_reader.h"
#include "tools/quality/codec.h"
#include "tools/quality/quality.h"

namespace {

constexpr size_t kFrame = KELP_FRAME_SAMPLES;
constexpr size_t kLag = KELP_LOOKAHEAD_SAMPLES;
constexpr int kTimedRuns = 5;

using Samples = std::vector<int16_t>;
using Bytes = std::vector<uint8_t>;

// The whole recording, filled up with the silence that carries its last sample out of the encoder.
Samples read_recording(const std::string &path) {
  RecordingReader reader(path, {});
  Samples samples;
  std::array<double, 4096> block;
  for (size_t got; (got = reader.read(block)) != 0;) {
    const size_t before = samples.size();
    samples.resize(before + got);
    round_to_pcm(std::span<const double>(block).first(got), std::span(samples).subspan(before));
  }
  samples.resize((samples.size() + kLag + kFrame - 1) / kFrame * kFrame);
  return samples;
}

Bytes encode(Samples samples) {
  const kelp_config config = {};
  void *encoder = kelpe_create(&config, nullptr);
  if (encoder == nullptr) throw Failure("the encoder cannot start");
  Bytes stream(samples.size() / kFrame * KELP_MAX_PACKET_BYTES);
  size_t used = 0;
  kelp_pcm_frame frame = {};
  kelp_frame_info info = {};
  for (size_t at = 0; at < samples.size(); at += kFrame) {
    frame.samples[0] = &samples[at];
    kelp_packet_desc packet = {&stream[used], 0, KELP_MAX_PACKET_BYTES};
    if (kelpe_encode(encoder, &frame, &packet, &info) != KELP_OK) throw Failure("encoding failed");
    used += static_cast<size_t>(info.produced);
  }
  kelpe_flush(encoder);
  kelpe_delete(encoder);
  stream.resize(used);
  return stream;
}

Samples decode(Bytes stream, size_t packets) {
  const kelp_config config = {};
  void *decoder = kelpd_create(&config, nullptr);
  if (decoder == nullptr) throw Failure("the decoder cannot start");
  Samples samples(packets * kFrame);
  size_t at = 0;
  kelp_pcm_frame frame = {};
  kelp_frame_info info = {};
  for (size_t packet = 0; packet < packets; ++packet) {
    frame.samples[0] = &samples[packet * kFrame];
    const kelp_packet_desc in = {&stream[at], 0, kelp_packet_bytes(stream[at])};
    if (kelpd_decode(decoder, &in, &frame, &info) != KELP_OK) throw Failure("decoding failed");
    at += static_cast<size_t>(in.length);
  }
  kelpd_delete(decoder);
  return samples;
}

template <typename Work>
double median_seconds(Work work) {
  std::array<double, kTimedRuns> seconds;
  for (double &one : seconds) {
    const auto start = std::chrono::steady_clock::now();
    work();
    one = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  }
  std::sort(seconds.begin(), seconds.end());
  return seconds[kTimedRuns / 2];
}

void report(const std::string &recording_path, const std::string &stream_path) {
  const Samples recording = read_recording(recording_path);
  Bytes stream;
  RateTally tally;
  PacketReader reader(stream_path);
  for (Packet packet; reader.next(packet);) {
    stream.insert(stream.end(), packet.bytes.begin(), packet.bytes.begin() + packet.length);
    tally.add(packet.rate());
  }
  if (encode(recording) != stream) {
    throw Failure(stream_path + ": is not what " + recording_path + " encodes to; encode it anew");
  }

  const kelp::quality::score snr = kelp::quality::segmental_snr(
      kelp::quality::coded_speech(recording), decode(stream, tally.packets()));
  const double encode_seconds = median_seconds([&] { encode(recording); });
  const double decode_seconds = median_seconds([&] { decode(stream, tally.packets()); });

  std::printf("%s", tally.report().c_str());
  std::printf("\nsegmental SNR  %8.2f dB over %zu active of %zu frames\n", snr.db, snr.active,
              snr.frames);
  std::printf("               (with the postfilter, which reshapes speech to hide noise)\n");
  std::printf("encoding       %8.0f times real time\n", tally.seconds() / encode_seconds);
  std::printf("decoding       %8.0f times real time\n", tally.seconds() / decode_seconds);
  std::printf("               (one thread, median of %d runs)\n", kTimedRuns);
}

}  // namespace

int main(int argc, char **argv) {
  if (argc != 3) {
    std::cerr << "usage: kelp_demo_report RECORDING.wav PACKETS.kelp\n";
    return 2;
  }
  try {
    kelp_init();
    report(argv[1], argv[2]);
  } catch (const std::exception &error) {
    std::cerr << "kelp_demo_report: " << error.what() << '\n';
    return 1;
  }
  return 0;
}
