// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// Recorded speech through encoder and decoder.

#include "tests/speech.h"

#include <thread>

using namespace kelp_test;

namespace {

TEST_F(Speech, SegmentalSnr) {
  double sum = 0;
  for (const recording &source : recordings) {
    const double snr = segmental_snr(source.pcm);
    std::printf("%6.2f dB  %s\n", snr, source.path.c_str());
    EXPECT_GE(snr, source.prompt ? 7 : 0) << source.path;
    sum += snr;
  }
  EXPECT_GE(sum / static_cast<double>(recordings.size()), 9);
}

// What the encoder believes its past excitation to be stays what the decoder has.
TEST_F(Speech, PitchHistoriesStayTogether) {
  encoder encoder;
  decoder decoder;
  const int32_t *const ours =
      static_cast<kelp::encoder_handle *>(encoder.handle)->state.local_decoder.pitch.history;
  const int32_t *const theirs = decoder.state().synthesis.pitch.history;
  std::vector<double> margins;  // of the full-rate frames, dB
  samples pcm = recordings[0].pcm;
  for (size_t f = 0; f < 500; f++) {
    ASSERT_LE((f + 1) * KELP_FRAME_SAMPLES, pcm.size());
    const packet bytes = encoder.encode(&pcm[f * KELP_FRAME_SAMPLES]);
    decoder.decode(bytes);
    double signal = 0, error = 1;
    for (int i = 0; i < kelp::kPitchHistory; i++) {
      signal += std::pow(double{1} * theirs[i], 2);
      error += std::pow(double{1} * ours[i] - theirs[i], 2);
    }
    if (bytes[0] == KELP_RATE_FULL && f > 0) margins.push_back(10 * std::log10(signal / error));
  }
  const auto mean = [&](size_t from, size_t to) {
    double sum = 0;
    for (size_t i = from; i < to; i++) sum += margins[i];
    return sum / static_cast<double>(to - from);
  };
  const size_t count = margins.size();
  std::printf("%.1f dB over %zu full-rate frames, %.1f in the first half, %.1f in the second\n",
              mean(0, count), count, mean(0, count / 2), mean(count / 2, count));
  ASSERT_GE(count, 100u);
  EXPECT_GE(mean(0, count), 80);
  EXPECT_GE(mean(count / 2, count), mean(0, count / 2) - 6);
}

// Two threads, a stream each, give the bytes and samples of one thread.
TEST_F(Speech, ThreadsDoNotMatter) {
  struct result {
    std::vector<packet> packets;
    std::vector<frame> heard;
  };
  const auto code = [](const samples &pcm, result *out) {
    encoder encoder;
    decoder decoder;
    for (size_t at = 0; at + KELP_FRAME_SAMPLES <= pcm.size(); at += KELP_FRAME_SAMPLES) {
      out->packets.push_back(encoder.encode(&pcm[at]));
      out->heard.push_back(decoder.decode(out->packets.back()));
    }
  };
  result alone[2], together[2];
  kelp_init();
  for (size_t i = 0; i < 2; i++) code(recordings[1 + 2 * i].pcm, &alone[i]);
  std::vector<std::thread> threads;
  for (size_t i = 0; i < 2; i++) {
    threads.emplace_back(code, std::cref(recordings[1 + 2 * i].pcm), &together[i]);
  }
  for (std::thread &thread : threads) thread.join();
  for (size_t i = 0; i < 2; i++) {
    EXPECT_EQ(alone[i].packets, together[i].packets);
    EXPECT_EQ(alone[i].heard, together[i].heard);
  }
}

// Speech uses the rates that are sent, and rests at eighth rate.
TEST_F(Speech, Rates) {
  for (const recording &source : recordings) {
    encoder encoder;
    int count[5] = {};
    samples pcm = source.pcm;
    pcm.resize(pcm.size() + 100 * KELP_FRAME_SAMPLES);
    packet bytes;
    for (size_t at = 0; at + KELP_FRAME_SAMPLES <= pcm.size(); at += KELP_FRAME_SAMPLES) {
      bytes = encoder.encode(&pcm[at]);
      ASSERT_LE(bytes[0], 4);
      count[bytes[0]]++;
    }
    EXPECT_TRUE(count[2] == 0 && count[1] > 0 && count[3] > 0 && count[4] > 0) << source.path;
    EXPECT_EQ(bytes[0], KELP_RATE_EIGHTH) << source.path;
  }
}

}  // namespace
