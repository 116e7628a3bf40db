// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// The demo's report: what the codec made of a recording and how fast.
//
//   kelp_demo_report RECORDING.wav PACKETS.kelp
#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "enc/preprocess.h"
#include "kelp.h"
#include "tools/kelp/failure.h"
#include "tools/kelp/packet_file.h"
#include "tools/kelp/rates.h"
#include "tools/kelp/recording.h"

namespace {

constexpr size_t kFrame = KELP_FRAME_SAMPLES;
constexpr size_t kLag = KELP_LOOKAHEAD_SAMPLES;
constexpr int kTimedRuns = 5;

using Samples = std::vector<int16_t>;
using Bytes = std::vector<uint8_t>;

// The whole recording, filled up with the silence that carries its last sample out of the encoder.
Samples read_recording(const std::string &path) {
  RecordingReader reader(path);
  Samples samples;
  std::array<int16_t, 4096> block;
  for (size_t got; (got = reader.read(block)) != 0;) {
    samples.insert(samples.end(), block.begin(), block.begin() + static_cast<ptrdiff_t>(got));
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

// What the codec is given to code: the input as the encoder filters and scales it, brought from the
// encoder's quarter level to the decoder's, and late by the codec's delay.
std::vector<double> reference(const Samples &samples) {
  kelp::preprocess_state filter = {};
  std::vector<double> target(samples.size() + kLag);
  std::array<int32_t, kFrame> filtered;
  for (size_t at = 0; at < samples.size(); at += kFrame) {
    kelp::kelp_pre_proc(&filter, &samples[at], filtered.data());
    kelp::scale_speech(filtered.data());
    for (size_t n = 0; n < kFrame; ++n) target[at + kLag + n] = 4.0 * filtered[n];
  }
  return target;
}

struct SegmentalSnr {
  double db = 0.0;
  size_t active = 0;
  size_t frames = 0;
};

// Mean of the frames' signal-to-noise ratios, each held to -10..35 dB, over the frames whose energy
// is at most 32 dB below the 95th percentile: pauses would only measure the noise that fills them.
SegmentalSnr segmental_snr(const std::vector<double> &target, const Samples &decoded) {
  const size_t frames = decoded.size() / kFrame;
  std::vector<double> signal(frames);
  std::vector<double> error(frames);
  for (size_t i = 0; i < frames * kFrame; ++i) {
    const double difference = target[i] - decoded[i];
    signal[i / kFrame] += target[i] * target[i];
    error[i / kFrame] += difference * difference;
  }
  std::vector<double> sorted = signal;
  std::sort(sorted.begin(), sorted.end());
  const double loud = sorted[(frames - 1) * 95 / 100];
  SegmentalSnr result;
  result.frames = frames;
  double sum = 0.0;
  for (size_t k = 0; k < frames; ++k) {
    if (signal[k] <= 0.0 || signal[k] < loud * std::pow(10.0, -3.2)) continue;
    const double db = 10.0 * std::log10(signal[k] / std::max(error[k], 1e-9));
    sum += std::clamp(db, -10.0, 35.0);
    ++result.active;
  }
  if (result.active != 0) result.db = sum / static_cast<double>(result.active);
  return result;
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

  const SegmentalSnr snr = segmental_snr(reference(recording), decode(stream, tally.packets()));
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
    std::fprintf(stderr, "usage: kelp_demo_report RECORDING.wav PACKETS.kelp\n");
    return 2;
  }
  try {
    kelp_init();
    report(argv[1], argv[2]);
  } catch (const std::exception &error) {
    std::fprintf(stderr, "kelp_demo_report: %s\n", error.what());
    return 1;
  }
  return 0;
}
