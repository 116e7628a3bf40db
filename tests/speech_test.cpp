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
  pcm_samples pcm;
  for (const recording &source : recordings)
    pcm.insert(pcm.end(), source.pcm.begin(), source.pcm.end());
  pcm.resize(pcm.size() + 100 * KELP_FRAME_SAMPLES);
  encoder encoder;
  decoder decoder;
  packet bytes;
  int count[5] = {};
  double margins = 0, least = 999;  // signal over difference, dB: sum of a block, smallest mean
  for (size_t at = 0; at + KELP_FRAME_SAMPLES <= pcm.size(); at += KELP_FRAME_SAMPLES) {
    bytes = encoder.encode(&pcm[at]);
    decoder.decode(bytes);
    ASSERT_LE(bytes[0], KELP_RATE_FULL);
    count[bytes[0]]++;
    if (bytes[0] != KELP_RATE_FULL) continue;
    margins += history_margin_db(&encoder, &decoder);
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

// 64 handles on eight threads, encoders and decoders by turns, give what one thread alone gives.
// Each is at another place of the recordings; a thread takes its eight handles by turns.
TEST_F(Speech, ThreadsDoNotMatter) {
  constexpr size_t kStreams = 32, kThreads = 8, kFrames = 40;
  struct fleet {
    encoder encoders[kStreams];
    decoder decoders[kStreams];
    std::vector<packet> sent[kStreams];
    std::vector<frame> heard[kStreams];
  };
  const pcm_samples &pcm = recordings[1].pcm;
  const size_t spread = (pcm.size() - kFrames * KELP_FRAME_SAMPLES) / kStreams;
  const auto code = [&](size_t first, size_t step, fleet *ships) {
    for (size_t f = 0; f < kFrames; f++) {
      for (size_t i = first; i < kStreams; i += step) {
        const int16_t *const input = &pcm[i * spread + f * KELP_FRAME_SAMPLES];
        ships->sent[i].push_back(ships->encoders[i].encode(input));
        ships->heard[i].push_back(ships->decoders[i].decode(ships->sent[i].back()));
      }
    }
  };
  fleet alone, together;
  code(0, 1, &alone);
  std::vector<std::thread> threads;
  for (size_t i = 0; i < kThreads; i++) threads.emplace_back(code, i, kThreads, &together);
  for (std::thread &thread : threads) thread.join();
  EXPECT_TRUE(std::ranges::equal(alone.sent, together.sent));
  EXPECT_TRUE(std::ranges::equal(alone.heard, together.heard));
}

// After months in one stream the run counters hold at their largest value and the frame counter
// begins anew, which makes one full-rate frame and nothing else.
TEST_F(Speech, CountersNearTheirEnds) {
  const auto code = [&](int32_t run, uint32_t frames) {
    encoder encoder;
    decoder decoder;
    pcm_samples pcm(recordings[0].pcm.begin() + 4000, recordings[0].pcm.begin() + 36000);
    std::fill_n(pcm.begin(), 6000, int16_t{0});
    kelp::encoder_state &state = encoder.state();
    std::vector<packet> packets;
    std::vector<frame> heard;
    for (size_t at = 0; at + KELP_FRAME_SAMPLES <= pcm.size(); at += KELP_FRAME_SAMPLES) {
      if (at / KELP_FRAME_SAMPLES == 20) {
        state.eighth_rate_run = decoder.state().eighth_rate_run = run;
        state.frame_count = frames;
      }
      for (int32_t *counter :
           {&state.rate_decision.full_rate_run, &state.rate_decision.voiced_run}) {
        if (*counter > 6 && *counter < run) *counter = run;
      }
      packets.push_back(encoder.encode(&pcm[at]));
      heard.push_back(decoder.decode(packets.back()));
    }
    EXPECT_EQ(state.frame_count, frames + uint32_t{180});
    return std::pair(packets, heard);
  };
  const auto usual = code(1000, 1000), late = code(kMax32 - 2, UINT32_MAX - 5000);
  EXPECT_TRUE(usual == late);
  const auto wrapped = code(1000, UINT32_MAX - 2);
  for (size_t f = 0; f < 24; f++) {
    EXPECT_EQ(wrapped.first[f][0], f == 23 ? 4 : usual.first[f][0]) << f;
  }
}

}  // namespace
