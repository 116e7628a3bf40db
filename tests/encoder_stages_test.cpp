// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// The encoder stage by stage, as far as neither the decoder nor recorded speech would tell.

#include <algorithm>
#include <cmath>
#include <numeric>

#include "dec/decoder.h"
#include "dec/dequant.h"
#include "enc/analysis.h"
#include "enc/excitation_search.h"
#include "enc/gain_quant.h"
#include "enc/preprocess.h"
#include "enc/rate_decision.h"
#include "tests/support.h"

using namespace kelp;
using namespace kelp_test;

namespace {

constexpr int kFrame = KELP_FRAME_SAMPLES;
using numbers = std::vector<int32_t>;

encoder_state starting_state() {
  encoder encoder;
  return encoder.state();
}

// What two frames of input come out as, from sample `first` on.
numbers preprocessed(int (*input)(int n), int first, int count) {
  preprocess_state state = {};
  int16_t in[2 * kFrame];
  int32_t out[2 * kFrame];
  for (int n = 0; n < 2 * kFrame; n++) in[n] = static_cast<int16_t>(input(n));
  for (int f = 0; f < 2; f++) kelp_pre_proc(&state, in + f * kFrame, out + f * kFrame);
  return {out + first, out + first + count};
}

TEST(Preprocess, HighPassAndScaling) {
  const auto constant = [](int) { return 1000; };
  EXPECT_EQ(preprocessed(constant, 0, 5), (numbers{250, 220, 193, 168, 145}));
  EXPECT_EQ(preprocessed(constant, 199, 121), numbers(121));
  EXPECT_EQ(preprocessed([](int) { return 0; }, 0, 320), numbers(320));
  EXPECT_EQ(preprocessed([](int n) { return n ? 0 : 32767; }, 0, 6),
            (numbers{8192, -983, -895, -813, -738, -670}));
  EXPECT_EQ(preprocessed([](int n) { return n % 2 ? -32768 : 32767; }, 316, 4),
            (numbers{8706, -8706, 8706, -8706}));
  // The loudest output there can be: the signs of the impulse response, backwards.
  EXPECT_EQ(preprocessed([](int n) { return n >= 287 && n < 319 ? -32768 : 32767; }, 319, 1),
            numbers{18743});
  int32_t speech[kFrame] = {8192, 1, -1, -32768, 32767, -8192};
  scale_speech(speech);
  EXPECT_EQ(numbers(speech, speech + 7), (numbers{7751, 1, -1, -31003, 31002, -7751, 0}));
}

// The analysis of a frame of input, in an encoder whose last LSPs were 1000, 1001 ..
encoder_frame analysed(int32_t (*speech)(int n)) {
  encoder_state state = {};
  encoder_frame frame = {};
  frame.kernels = &kPlainKernels;
  for (int n = 0; n < kFrame; n++) state.speech[kSpeechHistory + n] = speech(n);
  std::iota(state.previous_lsp, state.previous_lsp + kLpcOrder, 1000);
  kelpe_lsp(&frame, state);
  return frame;
}

TEST(Analysis, SilenceLoudnessAndTones) {
  const encoder_frame silent = analysed([](int) { return 0; });
  EXPECT_EQ(silent.autocorrelation[0], 5);
  EXPECT_EQ(std::count(silent.autocorrelation, silent.autocorrelation + 17, 0), 16);
  for (int i = 0; i < kLpcOrder; i++) {
    EXPECT_EQ(silent.lpc_q10[i], 0);
    EXPECT_NEAR(silent.lsp[i], (i + 1) * 32768.0 / 11, 45);
  }
  // A loud frame's lags are shifted modulo 32, which is far down, at 0 to 12; up at the others.
  const encoder_frame loud = analysed([](int n) { return n % 3 == 0 ? -31003 : 31003; });
  EXPECT_LT(std::abs(loud.autocorrelation[0]) + std::abs(loud.autocorrelation[12]), 64);
  EXPECT_GT(std::abs(loud.autocorrelation[15]), 1 << 28);
  // A frame whose roots are not found keeps the LSPs before it.
  const encoder_frame tone =
      analysed([](int n) { return static_cast<int32_t>(30000 * std::sin(0.2 * n)); });
  EXPECT_TRUE(tone.lsp[0] == 1000 && tone.lsp[9] == 1009);
}

// A rate decision whose lower band's energy is what it is asked for, and whose upper one's is 0.
struct decision {
  encoder_state state = {};
  rate_decision_state &levels = state.rate_decision;
  decision(int32_t snr_class, int32_t noise) {
    state.frame_count = 1;
    levels.previous_rate = 1;
    levels.band[0] = {noise, 0, 0, snr_class, {16384}};
    levels.band[1] = {10, 0, 0, 0, {}};
  }
  int32_t rate(int32_t energy) {
    encoder_frame frame = {};
    frame.kernels = &kPlainKernels;
    frame.autocorrelation[0] = 2 * energy;
    kelpe_ratedec_step1(&frame, &state);
    return frame.rate;
  }
  numbers rates(const numbers &energies) {
    numbers result;
    for (const int32_t energy : energies) result.push_back(rate(energy));
    return result;
  }
};

TEST(RateDecision, ThresholdsAndHangover) {
  // Two thresholds in 1/32, and the hangover.
  constexpr int32_t kClass[8][3] = {{224, 288, 7}, {224, 403, 7}, {256, 544, 7}, {275, 592, 3},
                                    {285, 621, 0}, {301, 669, 0}, {352, 816, 0}, {505, 1273, 0}};
  for (int32_t c = 0; c < 8; c++) {
    const auto &[threshold1, threshold2, hangover] = kClass[c];
    for (const auto &[energy, rate] : rows<2>{{100 * threshold1, 1},
                                              {100 * threshold1 + 1, 3},
                                              {100 * threshold2, 3},
                                              {100 * threshold2 + 1, 4}}) {
      EXPECT_EQ(decision(c, 3200).rate(energy), rate) << c;
    }
    decision d(c, 3200);
    EXPECT_EQ(d.rate(200 * threshold2), 4);
    numbers expected(static_cast<size_t>(hangover), 4);
    expected.insert(expected.end(), {3, 1, 1, 1});  // never from full straight to eighth
    EXPECT_EQ(d.rates(numbers(expected.size())), expected) << c;
  }
  // Speech within a hangover starts it anew.
  EXPECT_EQ(decision(3, 3200).rates({1 << 20, 0, 1 << 20, 0, 0, 0, 0, 0, 1 << 20}),
            (numbers{4, 4, 4, 4, 4, 4, 3, 1, 4}));
  EXPECT_EQ(decision(7, 5059644).rate(0), 3);  // 505 times the noise level wraps below 0
}

// clang-format off
TEST(Quantizers, Pitch) {
  // The last two lags are read back from the codes as they were.
  for (const auto &[lag_in, fraction_in, code_out, bit_out, lag_out, fraction_out] : rows<6>{
           {0, 2, 0, 0, 143, 0}, {17, 0, 1, 0, 17, 0}, {143, 0, 127, 0, 143, 0},
           {142, 2, 126, 1, 142, 2}, {143, 2, 50, 1, 66, 2}, {16, 0, 50, 1, 66, 2}}) {
    int32_t lag = lag_in, fraction = fraction_in;
    uint32_t code = 50, bit = 1;
    kelpe_q_pitch_lag(&lag, &code, &fraction, &bit);
    EXPECT_EQ((numbers{int32_t(code), int32_t(bit), lag, fraction}),
              (numbers{code_out, bit_out, lag_out, fraction_out})) << lag_in;
  }
  for (const auto &[b, code_out, gain_out] : rows<3>{
           {0, 0, 0}, {2047, 0, 0}, {2048, 0, 2}, {6143, 0, 2}, {6144, 1, 4}, {30719, 6, 14},
           {30720, 7, 16}, {1 << 28, 7, 16}, {-2048, 0, 0}, {-40000, 0, 0}}) {
    int16_t gain = -1;
    uint32_t code = 9;
    kelpe_q_pitch_gain(b, &gain, &code);
    EXPECT_TRUE(gain == gain_out && code == u32(code_out)) << b;
  }
}

TEST(Quantizers, CodebookGain) {
  for (const auto &[rate, j, gain_in, c, sign_out, position] : rows<6>{
           {3, 0, 0, 0, 1, 0}, {1, 0, 0, 0, 0, 0}, {2, 0, -600, 0, 0, 0}, {4, 3, 655, 0, 1, 32},
           {4, 0, kMin32, 0, 1, 0}, {4, 1, -65536, 0, 1, 0}, {3, 0, 82000, 0, 0, 0},
           {3, 0, 83500, 1, 0, 4}, {3, 1, kMax32, 15, 0, 60}, {4, 2, -6553600, 10, 1, 40},
           {4, 3, 6553600, 2, 0, 40}, {4, 3, kMax32, 7, 0, 60}}) {
    gain_quantizer_state state = {11, 22, {60 << 16, 60 << 16, 60 << 16}};
    int32_t gain = gain_in;
    uint32_t code = 99, sign = 99;
    kelpe_q_cb_gain(rate, &gain, &code, &sign, j, &state);
    EXPECT_TRUE(code == u32(c) && sign == u32(sign_out)) << gain_in << ' ' << code << ' ' << sign;
    EXPECT_EQ(gain, kelp_tbl_ga[position + 6] * (sign == 1 ? -1 : 1)) << gain_in;
    // The predictive fourth leaves no whole positions behind.
    EXPECT_EQ(state.current, j == 3 ? c * 65536 - 98304 : 4 * c);
    EXPECT_EQ(state.history_q16[0], (j == 3 ? 4 * c - 6 : 4 * c) * 65536);
    EXPECT_TRUE(state.previous == 11 && state.history_q16[1] == 60 << 16);
  }
}

TEST(Quantizers, EighthRateGain) {
  // The last gain lies half-way: it gets the lower code.
  for (const auto &[current, previous, gain_in, code_out, position] : rows<5>{
           {0, 0, 131072, 3, 6}, {4, 4, 98304, 2, 4}, {5, 4, 65536, 0, 0}, {21, 20, 0, 0, 16},
           {21, 20, 1 << 30, 3, 22}, {70, 70, 1 << 30, 3, 60}, {0, 0, 73728, 0, 0}}) {
    gain_quantizer_state state = {current, previous, {}};
    int32_t gain = 0;
    uint32_t code = 9;
    kelpe_q_cb_gain8th(gain_in, &gain, &code, &state);
    EXPECT_TRUE(code == u32(code_out) && gain == kelp_tbl_ga[position + 6]) << gain_in;
    EXPECT_TRUE(state.current == position && state.previous == current);
  }
}
// clang-format on

TEST(NoiseFrame, HalvingFollowsTheClass) {
  encoder_state state = starting_state();
  for (const auto &[snr_class, gain] :
       {std::pair{3, 39}, {4, 35}, {3, 35}, {2, 35}, {1, 39}, {2, 39}, {7, 35}}) {
    uint8_t bytes[4];
    kcmn_bsw_state writer;
    kcmn_bsw_init(&writer, bytes, 4, nullptr);
    encoder_frame frame = {};
    frame.kernels = &kPlainKernels;
    frame.writer = &writer;
    frame.rate = 1;
    std::fill_n(frame.weighted_residual, kFrame, 150);
    state.gains.current = state.gains.previous = 40;
    state.rate_decision.band[0].snr_class = snr_class;
    encode_noise(&frame, &state);
    EXPECT_EQ(state.gains.current, gain) << snr_class;
    EXPECT_TRUE(state.seed == bytes[1] * 256u + bytes[2] && writer.cur == bytes);
  }
}

// On its normal path the local decoder does what the decoder does, up to roundings.
TEST(LocalDecoder, FollowsTheDecoder) {
  random_numbers random(35);
  encoder_state state = starting_state();
  decoder decoder;
  decoder.state().synthesis.last_stage.coefficient_q14 = 0;  // the one stage that differs
  const subframe_coefficients coefficients = {{12000, -6000, 1500}, {9000, -3000}};
  double signal = 0, error = 0;
  for (int s = 0; s < 400; s++) {
    const int32_t rate = random.between(1, 4);
    const int c = rate == 4 ? 4 : rate == 2 ? 2 : 1;
    const pitch_parameters pitch = {random.between(17, 139), s % 2 * 2,
                                    static_cast<int16_t>(random.between(0, 8))};
    codebook_record records[2][4];
    for (auto &record : records[0]) record = {1 << 20, 0, 0, random.between(0, 127), s};
    std::copy_n(records[0], 4, records[1]);
    int32_t a[40], b[40];
    constexpr auto kNormal = synthesis_mode::normal;
    kelpe_cmn_dec(rate, &state, coefficients, pitch, records[0], a, kNormal, 40, c);
    synthesize_subframe(kDecoderSynthesis, rate, &decoder.state().synthesis, coefficients, pitch,
                        records[1], nullptr, b, 40, c);
    for (int k = 0; k < 40; k++) {
      signal += std::pow(b[k], 2);
      error += std::pow(1.0 * a[k] - b[k], 2);
    }
  }
  EXPECT_GT(10 * std::log10(signal / error), 30);
}

}  // namespace
