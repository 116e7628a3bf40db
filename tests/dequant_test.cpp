// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// From codes to values: gains, pitch, LSPs, prediction coefficients.

#include "dec/dequant.h"

#include <algorithm>
#include <cmath>

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
  for (uint32_t k = 0; k < 16; k++) {
    params.codes.cb_gain[k] = k;
    params.codes.cb_idx[k] = 93 + k;
    params.codes.cb_sign[k] = k % 2;
  }
  // 93 + 7 = 100 is turned by 39 of 128. The low rates leave the index, other rates everything.
  for (const auto &[rate, p, c, gain_code, sign, index] : rows<6>{
           {4, 1, 3, 7, 1, 11}, {4, 3, 2, 14, 0, 107}, {3, 3, 0, 3, 1, 7}, {2, 0, 4, 4, 0, 77},
           {1, 0, 0, 0, 0, 77}, {14, 0, 0, 99, 9, 77}}) {
    params.rate = u32(rate);
    codebook_record records[5];
    std::fill_n(records, 5, codebook_record{1, 99, 9, 77, 5});
    kelp_unpack_codebook(params, records, p, c);
    EXPECT_EQ(records[c].gain_code, gain_code) << rate << p << c;
    EXPECT_TRUE(records[c].sign == sign && records[c].index == index) << rate << p << c;
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

// Random indices, many of them close to each limit.
TEST(Dequant, LspUsability) {
  random_numbers random(9);
  for (const auto &[rate, last_min, last_max, span, least_width] : rows<5>{
           {2, 22939, 31784, 3, 2621}, {3, 21628, 32275, 4, 3051}, {4, 21628, 32275, 4, 3051}}) {
    int32_t nearest[3][2] = {{99, 99}, {99, 99}, {99, 99}};  // to each limit, on either side
    for (int draw = 0; draw < 1000000; draw++) {
      uint32_t index[5];
      int32_t lsp[kLpcOrder], width = kMax32;
      random_lsps(&random, index, lsp);
      for (int i = span; i < kLpcOrder; i++) width = std::min(width, lsp[i] - lsp[i - span]);
      const int32_t margin[3] = {lsp[9] - last_min, last_max - lsp[9], width - least_width};
      const int refusals = (margin[0] < 0) + (margin[1] < 0) + (margin[2] < 0);
      ASSERT_EQ(kelpd_iq_lsp_erasure_check(u32(rate), index), refusals ? KELP_ERR_LSP : KELP_OK)
          << "rate " << rate << ": " << lsp[9] << ", " << width;
      for (int k = 0; k < 3; k++) {
        int32_t &best = nearest[k][margin[k] < 0];
        const int32_t miss = margin[k] < 0 ? ~margin[k] : margin[k];
        if (refusals == (margin[k] < 0)) best = std::min(best, miss);
      }
    }
    for (int k = 0; k < 6; k++) EXPECT_LE(nearest[k / 2][k % 2], k < 4 ? 0 : 40) << rate << k;
  }
  const uint32_t first[5] = {};
  for (const uint32_t rate : {0u, 1u, 5u, 14u}) {
    EXPECT_EQ(kelpd_iq_lsp_erasure_check(rate, first), KELP_ERR_STATE);
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

// Prediction coefficients against the polynomials in real arithmetic.
TEST(LspToLpc, AgreesWithRealArithmetic) {
  random_numbers random(10);
  for (int run = 0; run < 500; run++) {
    const int spread = run == 0 ? 0 : 700;
    int32_t lsp_q15[kLpcOrder], lpc_q14[kLpcOrder];
    std::vector<double> poly[2] = {{1, 1}, {1, -1}};
    for (int i = 0; i < kLpcOrder; i++) {
      lsp_q15[i] = (i + 1) * 16384 / 11 + random.between(-spread, spread);
      std::vector<double> &x = poly[i % 2];
      std::vector<double> y(x.size() + 2);
      for (size_t k = 0; k < x.size(); k++) {
        y[k] += x[k];
        y[k + 1] -= 2 * std::cos(std::acos(-1.0) * lsp_q15[i] / 16384) * x[k];
        y[k + 2] += x[k];
      }
      x = y;
    }
    kelpd_lsp_to_lpc(lsp_q15, lpc_q14);
    for (size_t k = 1; k <= kLpcOrder; k++) {
      ASSERT_NEAR(lpc_q14[k - 1], -8192 * (poly[0][k] + poly[1][k]), 1) << run;
      ASSERT_TRUE(run > 0 || std::abs(lpc_q14[k - 1]) < 16);  // even spacing is a flat spectrum
    }
  }
  int32_t extreme[kLpcOrder] = {-5, 0, 0, 1, 8192, 8192, 16383, 16383, 16384, 32767};
  kelpd_lsp_to_lpc(extreme, extreme);  // no index leaves the table
}

TEST(LspToLpc, InterpolatedSets) {
  int32_t previous[kLpcOrder], current[kLpcOrder];
  for (int i = 0; i < kLpcOrder; i++) {
    previous[i] = 2979 * (i + 1);
    current[i] = 2800 * (i + 1) + 300 * (i % 2);
  }
  // Weight of the new LSPs in eighths; rate 0 is the table's alone.
  const std::vector<int> weights[5] = {{3, 7}, {5}, {2, 2, 6, 8}, {2, 4, 6, 8}, {2, 4, 6, 8}};
  for (uint32_t rate = 0; rate < 5; rate++) {
    subframe_coefficients sets[4], unweighted[4];
    std::memset(sets, 0x55, sizeof sets);
    EXPECT_EQ(kelpd_lpc_convert(0, rate, previous, current, sets, 12288), KELP_OK);
    EXPECT_EQ(kelpd_lpc_convert(0, rate, previous, current, unweighted, 0), KELP_OK);
    for (size_t s = 0; s < 4; s++) {
      if (s >= weights[rate].size()) {
        EXPECT_EQ(sets[s].expanded[0], 0x55555555) << rate;
        continue;
      }
      const int w = weights[rate][s];
      int32_t lpc[kLpcOrder];
      for (int i = 0; i < kLpcOrder; i++) lpc[i] = (current[i] * w + previous[i] * (8 - w)) >> 4;
      kelpd_lsp_to_lpc(lpc, lpc);
      for (int k = 0; k < kLpcOrder; k++) {
        const int32_t expanded = (lpc[k] * tbl_lpc_bw_expand[k]) >> 14;
        EXPECT_EQ(sets[s].expanded[k], expanded) << rate << ' ' << s;
        EXPECT_NEAR(sets[s].weighted[k], expanded * std::pow(0.75, k + 1), 2);
        EXPECT_EQ(unweighted[s].weighted[k], 0);
      }
    }
  }
}

}  // namespace
