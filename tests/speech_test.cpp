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

// One long stream of many speakers, and silence. What the encoder believes the past excitation to
// be stays what the decoder has: in every 200 full-rate frames alike, so that nothing builds up.
TEST_F(Speech, EncoderAndDecoderStayTogether) {
  samples pcm;
  for (const recording &source : recordings)
    pcm.insert(pcm.end(), source.pcm.begin(), source.pcm.end());
  pcm.resize(pcm.size() + 100 * KELP_FRAME_SAMPLES);
  encoder encoder;
  decoder decoder;
  const int32_t *const ours =
      static_cast<kelp::encoder_handle *>(encoder.handle)->state.local_decoder.pitch.history;
  const int32_t *const theirs = decoder.state().synthesis.pitch.history;
  packet bytes;
  int count[5] = {};
  double margins = 0, least = 999;  // signal over difference, dB: sum of a block, smallest mean
  for (size_t at = 0; at + KELP_FRAME_SAMPLES <= pcm.size(); at += KELP_FRAME_SAMPLES) {
    bytes = encoder.encode(&pcm[at]);
    decoder.decode(bytes);
    ASSERT_LE(bytes[0], KELP_RATE_FULL);
    count[bytes[0]]++;
    if (bytes[0] != KELP_RATE_FULL) continue;
    double signal = 1, difference = 1;
    for (int i = 0; i < kelp::kPitchHistory; i++) {
      signal += std::pow(theirs[i], 2);
      difference += std::pow(1.0 * ours[i] - theirs[i], 2);
    }
    margins += 10 * std::log10(signal / difference);
    if (count[4] % 200 == 0) {
      least = std::min(least, margins / 200);
      margins = 0;
    }
  }
  std::printf("%d full-rate frames, never less than %.1f dB\n", count[4], least);
  EXPECT_GE(least, 80);
  EXPECT_TRUE(count[1] > 500 && count[2] == 0 && count[3] > 100 && count[4] > 2000);
  EXPECT_EQ(bytes[0], KELP_RATE_EIGHTH);  // where silence settles
}

// Two threads, a stream each, give the bytes and samples of one thread.
TEST_F(Speech, ThreadsDoNotMatter) {
  using results = std::vector<std::pair<packet, frame>>;
  const auto code = [](const samples &pcm, results *out) {
    encoder encoder;
    decoder decoder;
    for (size_t at = 0; at + KELP_FRAME_SAMPLES <= pcm.size(); at += KELP_FRAME_SAMPLES) {
      const packet bytes = encoder.encode(&pcm[at]);
      out->emplace_back(bytes, decoder.decode(bytes));
    }
  };
  const samples &one = recordings[1].pcm, &two = recordings[3].pcm;
  results alone[2], together[2];
  code(one, &alone[0]);
  code(two, &alone[1]);
  std::thread first(code, std::cref(one), &together[0]), second(code, std::cref(two), &together[1]);
  first.join();
  second.join();
  EXPECT_TRUE(alone[0] == together[0] && alone[1] == together[1]);
}

}  // namespace
