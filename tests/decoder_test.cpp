// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// Whole packets through handles: concealment and refusals. Whatever else a network may deliver is a
// fuzz target's.

#include <algorithm>
#include <cmath>

#include "tests/support.h"

using namespace kelp_test;

namespace {

const packet kLost = {KELP_RATE_ERASURE};
constexpr frame kSilence = {};

// A decoder in the middle of speech.
struct speaking_decoder : decoder {
  random_numbers random{20};
  speaking_decoder() {
    for (int i = 0; i < 12; i++) decode(random_speech_packet(&random, i % 5 ? 4 : 3));
  }
};

double level(const frame &pcm) {
  double sum = 0;
  for (const int16_t sample : pcm) sum += 1.0 * sample * sample;
  return std::sqrt(sum / 160);
}

TEST(Decoder, LossesFadeAndRecover) {
  speaking_decoder decoder;
  kelp::decoder_state &state = decoder.state();
  state.gains.last = 40;
  state.synthesis.pitch.gain_q3 = 16;
  state.lsp_memory[0] = 1024;
  constexpr int32_t kLosses[][5] = {// count, gain index, index before, pitch gain, LSP memory
                                    {1, 40, 40, 6, 1024},
                                    {2, 39, 40, 4, 921},
                                    {3, 37, 39, 2, 828},
                                    {3, 31, 37, 0, 578},
                                    {3, 25, 31, 0, 404}};
  const double first = level(decoder.decode(kLost));
  EXPECT_GT(first, 500);
  for (const auto &[count, index, index_before, pitch_gain, memory] : kLosses) {
    EXPECT_EQ((std::array{state.erasure_count, state.gains.last, state.gains.previous,
                          int32_t{state.synthesis.pitch.gain_q3}, state.lsp_memory[0]}),
              (std::array{count, index, index_before, pitch_gain, memory}));
    decoder.decode(kLost);
  }
  for (int i = 0; i < 20; i++) decoder.decode(kLost);
  EXPECT_EQ(state.gains.last, 0);
  EXPECT_LT(level(decoder.decode(kLost)), first / 50);
  EXPECT_NEAR(state.previous_lsp[9], tbl_bias[9] >> 5, 300);  // drifted to the mean
  for (const auto &[index, expected] : {std::pair{13, 13}, {14, 12}}) {
    state.last_rate = KELP_RATE_EIGHTH;  // quiet background noise does not fade
    state.erasure_count = 2;
    state.gains.last = index;
    decoder.decode(kLost);
    EXPECT_EQ(state.gains.last, expected);
  }
  class decoder fresh;
  fresh.decode(kLost);
  EXPECT_EQ(fresh.state().previous_gain_q16, 32768);                     // half of 0 dB's 65536
  EXPECT_EQ(fresh.internals().scratch->synthesis.records[3].index, 11);  // after 3, 91 and 51
}

// However a frame is lost, what is heard is the same, and what follows too.
TEST(Decoder, EveryLossIsConcealedAlike) {
  random_numbers random(24);
  const packet full = random_speech_packet(&random, 4), eighth = random_speech_packet(&random, 1);
  packet full_check = full, eighth_check = eighth;
  full_check[33] ^= 0x80;
  eighth_check[3] |= 0x10;
  const packet cut(full.begin(), full.begin() + 33), cut_eighth(eighth.begin(), eighth.begin() + 3);
  std::vector<frame> expected;
  // The first pairs of the LSP codebooks lie too close together.
  for (const packet &loss :
       {kLost, full_check, eighth_check, cut, cut_eighth, pack(4, {}), pack(3, {})}) {
    speaking_decoder decoder;
    std::vector<frame> heard;
    for (const packet &bytes : {loss, loss, eighth, full}) heard.push_back(decoder.decode(bytes));
    EXPECT_GT(level(heard[0]), 100);
    if (expected.empty()) expected = heard;
    EXPECT_EQ(heard, expected) << int{loss[0]} << ", " << loss.size() << " bytes";
  }
}

// Unknown rate bytes and refused quarter-rate packets are silent and leave no trace.
TEST(Decoder, RefusedPacketsAreSilentAndLeaveTheStream) {
  std::vector<packet> refused = {quarter_packet({5, 5, 5, 5, 5}, {}),
                                 quarter_packet({0, 11, 11, 11, 11})};
  for (int byte = 0; byte < 256; byte++) {
    if (kelp_packet_bytes(static_cast<uint8_t>(byte)) != 0) continue;
    refused.push_back({static_cast<uint8_t>(byte), 0xFF, 0xFF, 0xFF});
  }
  for (const packet &bytes : refused) {
    speaking_decoder decoder, interrupted;
    for (auto *each : {&decoder, &interrupted}) {
      each->decode(kLost);
      each->state().eighth_rate_run = 4;
    }
    EXPECT_EQ(interrupted.decode(bytes), kSilence) << int{bytes[0]};
    EXPECT_EQ(interrupted.state().last_rate, bytes[0]);
    EXPECT_TRUE(interrupted.state().erasure_count == 1 && interrupted.state().eighth_rate_run == 4);
    for (int i = 0; i < 9;
         i++) {  // half rate predicts no gain, and eight of its frames forget them
      const packet next = random_speech_packet(&decoder.random, i < 8 ? 3 : 4);
      EXPECT_EQ(interrupted.decode(next), decoder.decode(next)) << int{bytes[0]};
    }
  }
}

// clang-format off
TEST(Decoder, QuarterRate) {
  for (const auto &[g0, g1, g2, g3, g4, usable] : rows<6>{
           {0, 10, 10, 10, 10, 1}, {10, 0, 0, 0, 10, 1}, {0, 11, 11, 11, 11, 0},
           {5, 5, 5, 15, 4, 0}, {10, 10, 10, 15, 4, 0}, {4, 10, 4, 4, 4, 1}, {4, 10, 3, 3, 3, 0},
           {4, 4, 9, 2, 2, 1}, {4, 4, 9, 1, 1, 0}, {9, 9, 9, 2, 7, 1}, {9, 9, 9, 2, 8, 0}}) {
    decoder decoder;
    const packet bytes = quarter_packet({u32(g0), u32(g1), u32(g2), u32(g3), u32(g4)});
    EXPECT_EQ(decoder.decode(bytes) != kSilence, usable == 1) << g0 << ' ' << g3;
    EXPECT_EQ(decoder.state().previous_gain_q16, usable == 1 ? kelp_tbl_ga[4 * g4 + 6] : 0);
  }
}
// clang-format on

}  // namespace
