// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// From codes to values: gains, pitch, LSPs, prediction coefficients.

#include "dec/dequant.h"

#include <algorithm>
#include <cmath>
#include <set>

#include "common/lsp.h"
#include "tests/support.h"

using namespace kelp;
using namespace kelp_test;

namespace {

constexpr int32_t kBias[kLpcOrder] = {2978,  5957,  8936,  11915, 14894,
                                      17873, 20852, 23831, 26810, 29789};

// clang-format off
TEST(Dequant, CodebookGain) {
  for (const auto &[rate, c, h0, h1, h2, code, sign, index] : rows<8>{
           {4, 3, 17, 0, 0, 7, 0, 28}, {4, 3, 6, 6, 6, 1, 1, 4}, {4, 3, 40, 40, 36, 7, 0, 60},
           {4, 3, 39, 39, 39, 7, 1, 60}, {4, 3, 20, 21, 21, 0, 0, 14}, {4, 3, 60, 60, 60, 0, 0, 32},
           {4, 2, 39, 39, 39, 15, 1, 60}, {3, 3, 39, 39, 39, 9, 0, 36}}) {
    gain_memory gains = {50, 40, {uint16_t(h0), uint16_t(h1), uint16_t(h2)}};
    codebook_record record = {0, code, sign, 0, 0};
    kelp_iq_gain(u32(rate), &record, c, &gains);
    EXPECT_EQ(record.gain_q16, kelp_tbl_ga[index + 6] * (sign == 1 ? -1 : 1)) << index;
    EXPECT_TRUE(gains.last == index && gains.previous == 50 && gains.history[0] == index &&
                gains.history[1] == h0 && gains.history[2] == h1);
  }
}

TEST(Dequant, EighthRateGain) {
  // In the last row the sum is negative in 16 bits.
  for (const auto &[last, previous, code, index] : rows<4>{
           {0, 0, 0, 0}, {4, 4, 3, 6}, {5, 4, 1, 2}, {5, 5, 2, 4}, {7, 6, 2, 6}, {60, 60, 3, 60},
           {60, 57, 0, 54}, {58, 60, 2, 58}, {32767, 1, 2, 4}}) {
    gain_memory gains = {last, previous, {1, 2, 3}};
    int32_t gain = 0;
    EXPECT_EQ(kelp_iq_gain_8th(&gain, u32(code), &gains), KELP_OK);
    EXPECT_EQ(kelp_iq_gain_8th(&gain, 4, &gains), KELP_ERR_ARGUMENT);  // changes nothing
    EXPECT_EQ(gain, kelp_tbl_ga[index + 6]) << last;
    EXPECT_TRUE(gains.last == index && gains.previous == last && gains.history[0] == 1);
  }
}

TEST(Dequant, CodebookRecord) {
  kelpd_frame_params params = {};
  std::fill_n(params.codes.cb_gain, 16, 7);
  std::fill_n(params.codes.cb_idx, 16, 100);
  params.codes.cb_sign[7] = 1;
  // With a sign 100 is turned by 39 of 128. The low rates leave the index, other rates everything.
  for (const auto &[rate, p, c, gain_code, sign, index] : rows<6>{
           {4, 1, 3, 7, 1, 11}, {4, 3, 2, 7, 0, 100}, {3, 7, 0, 7, 1, 11}, {3, 3, 0, 7, 0, 100},
           {2, 0, 4, 7, 0, 77}, {1, 0, 0, 7, 0, 77}, {14, 0, 0, 99, 9, 77}}) {
    params.rate = u32(rate);
    codebook_record records[5];
    std::fill_n(records, 5, codebook_record{1, 99, 9, 77, 5});
    kelp_unpack_codebook(params, records, p, c);
    EXPECT_EQ((std::array{records[c].gain_code, records[c].sign, records[c].index}),
              (std::array{gain_code, sign, index})) << rate << p << c;
  }
}

TEST(Dequant, Pitch) {
  for (const auto &[gain, lag, flag, code, lag_out, fraction, gain_q3] : rows<7>{
           {0, 0, 0, 0, 143, 0, 0}, {3, 0, 7, 0, 143, 0, 8}, {0, 1, 0, 0, 17, 0, 2},
           {7, 127, 1, 0, 143, 2, 16}, {8, 1, 0, -5, -1, -1, -1}, {8, 0, 0, -5, -1, -1, -1},
           {2, 9, 2, -5, -1, -1, -1}}) {
    kelpd_frame_params params = {};
    params.codes.pitch_gain[2] = u32(gain);
    params.codes.pitch_lag[2] = u32(lag);
    params.codes.pitch_frac[2] = u32(flag);
    kelpd_unpack_pitch(&params, 2);
    pitch_parameters pitch = {-1, -1, -1};
    EXPECT_EQ(kelpd_iq_pitch_lag_gain(params, &pitch), code) << gain << ' ' << lag;
    EXPECT_TRUE(pitch.lag == lag_out && pitch.fraction == fraction && pitch.gain_q3 == gain_q3);
  }
}

// Random indices. On either side of each limit of the last LSP the nearest value must turn up.
TEST(Dequant, LspUsability) {
  random_numbers random(9);
  for (const auto &[rate, last_min, last_max, span, least_width] : rows<5>{
           {2, 22939, 31784, 3, 2621}, {3, 21628, 32275, 4, 3051}, {4, 21628, 32275, 4, 3051}}) {
    std::set<int32_t> unseen = {last_min - 1, last_min, last_max, last_max + 1};
    for (int draw = 0; draw < 1000000; draw++) {
      uint32_t index[5];
      int32_t lsp[kLpcOrder], width = kMax32;
      random_lsps(&random, index, lsp);
      for (int i = span; i < kLpcOrder; i++) width = std::min(width, lsp[i] - lsp[i - span]);
      const bool usable = lsp[9] >= last_min && lsp[9] <= last_max && width >= least_width;
      ASSERT_EQ(kelpd_iq_lsp_erasure_check(u32(rate), index), usable ? KELP_OK : KELP_ERR_LSP)
          << "rate " << rate << ": " << lsp[9] << ", " << width;
      if (width >= least_width) unseen.erase(lsp[9]);
    }
    EXPECT_TRUE(unseen.empty()) << rate;
  }
  for (const uint32_t rate : {0u, 1u, 5u, 14u}) {
    EXPECT_EQ(kelpd_iq_lsp_erasure_check(rate, kUsableLsps.data()), KELP_ERR_STATE);
  }
}
// clang-format on

// Pair 3 of every codebook: steps 4348 606 | 4742 1632 | 6793 898 | 5983 862 | 5426 649.
TEST(Dequant, Lsps) {
  constexpr int32_t kSums[kLpcOrder] = {4348,  4954,  9696,  11328, 18121,
                                        19019, 25002, 25864, 31290, 31939};
  kelpd_frame_params params = {};
  params.rate = 4;
  std::fill_n(params.codes.lsp_idx, 5, 3);
  decoder_state state = {};
  int32_t lsp[kLpcOrder];
  EXPECT_EQ(kelpd_iq_lpc(params, &state, lsp), KELP_OK);
  for (int i = 0; i < kLpcOrder; i++) {
    EXPECT_EQ(lsp[i], kSums[i]);
    EXPECT_EQ(state.lsp_memory[i], std::floor((kSums[i] - kBias[i]) * 0.90625));  // not rounded
  }
  // Eighth rate is smoothed lightly until ten such frames have passed; its memory is rounded.
  params.rate = 1;
  for (const int run : {9, 10}) {
    for (const uint32_t bit : {0u, 1u}) {
      std::fill_n(params.codes.lsp_bit, kLpcOrder, bit);
      state = {};
      state.eighth_rate_run = run;
      std::fill_n(state.previous_lsp, kLpcOrder, 8000);
      state.lsp_memory[4] = 201;
      EXPECT_EQ(kelpd_iq_lpc(params, &state, lsp), KELP_OK);
      const int32_t weight = run < 10 ? 4096 : 29491;
      for (int i = 0; i < kLpcOrder; i++) {
        const int32_t value = (i == 4 ? 201 : 0) + (bit == 1 ? 655 : -655);
        EXPECT_EQ(lsp[i], (8000 * weight + (kBias[i] + value) * (32768 - weight)) >> 15) << i;
        EXPECT_EQ(state.lsp_memory[i], std::floor(value * 0.90625 + 0.5)) << i;
      }
    }
  }
  int32_t top[kLpcOrder], bottom[kLpcOrder] = {-500, -400, 0, 1, 2, 3, 3000, 3100, 3800, 20000};
  std::fill_n(top, kLpcOrder, 40000);
  space_lsps(top);
  space_lsps(bottom);
  for (int i = 0; i < kLpcOrder; i++) {
    EXPECT_EQ(top[i], 32113 - 655 * (9 - i));
    EXPECT_EQ(bottom[i], i < 9 ? 655 * (i + 1) : 20000);
  }
}

}  // namespace
