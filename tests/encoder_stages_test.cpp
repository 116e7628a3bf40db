// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// The encoder stage by stage.

#include <algorithm>
#include <cmath>
#include <numeric>

#include "dec/decoder.h"
#include "dec/dequant.h"
#include "enc/analysis.h"
#include "enc/excitation_search.h"
#include "enc/gain_quant.h"
#include "enc/lsp_quant.h"
#include "enc/preprocess.h"
#include "enc/rate_decision.h"
#include "enc/weighting.h"
#include "tables/analysis_tables.h"
#include "tests/support.h"

using namespace kelp;
using namespace kelp_test;

namespace {

constexpr int kFrame = KELP_FRAME_SAMPLES;

encoder_state starting_state() {
  encoder encoder;
  return static_cast<encoder_handle *>(encoder.handle)->state;
}

// What two frames of input come out as.
std::vector<int32_t> preprocessed(int (*input)(int n)) {
  preprocess_state state = {};
  std::vector<int32_t> out(2 * kFrame);
  for (int f = 0; f < 2; f++) {
    int16_t in[kFrame];
    for (int n = 0; n < kFrame; n++) in[n] = static_cast<int16_t>(input(f * kFrame + n));
    kelp_pre_proc(&state, in, out.data() + f * kFrame);
  }
  return out;
}

TEST(Preprocess, HighPassAndScaling) {
  const auto begins = [](const std::vector<int32_t> &out, const std::vector<int32_t> &expected) {
    EXPECT_TRUE(std::equal(expected.begin(), expected.end(), out.begin())) << expected[0];
  };
  begins(preprocessed([](int) { return 0; }), std::vector<int32_t>(2 * kFrame));
  begins(preprocessed([](int n) { return n ? 0 : 32767; }), {8192, -983, -895, -813, -738, -670});
  const auto constant = preprocessed([](int) { return 1000; });
  begins(constant, {250, 220, 193, 168, 145});
  EXPECT_EQ(std::count(constant.begin() + 199, constant.end(), 0), 121);
  const auto alternating = preprocessed([](int n) { return n % 2 ? -32768 : 32767; });
  for (size_t n = 200; n < 320; n++) EXPECT_EQ(alternating[n], n % 2 ? -8706 : 8706);
  int32_t speech[kFrame] = {8192, 1, -1, -32768, 32767, -8192};
  scale_speech(speech);
  begins({speech, speech + 7}, {7751, 1, -1, -31003, 31002, -7751, 0});
}

// The analysis of a frame of input, in an encoder whose last LSPs were 1000, 1001 ..
struct analysis {
  encoder_state state = {};
  encoder_frame frame = {};
  explicit analysis(int32_t (*speech)(int n)) {
    for (int n = 0; n < kFrame; n++) state.speech[kSpeechHistory + n] = speech(n);
    std::iota(state.previous_lsp, state.previous_lsp + kLpcOrder, 1000);
    kelpe_lsp(&frame, state);
  }
};

TEST(Analysis, Autocorrelations) {
  const auto &window = kAnalysisWindow_q15;
  EXPECT_TRUE(window[0] == 2622 && window[40] == 17844 && window[79] == 32766);
  EXPECT_EQ(std::accumulate(window.begin(), window.end(), 0), 1408048);
  EXPECT_TRUE(kLspGrid[0] == 164 && kLspGrid[99] == 16384 && kLspGrid[199] == 32768);
  // A quiet frame's lags come out as they are.
  const analysis quiet([](int n) { return n * 7919 % 401 - 200; });
  int32_t x[kFrame];
  for (int n = 0; n < kFrame; n++) {
    const int32_t w = window[static_cast<size_t>(std::min(n, kFrame - 1 - n))];
    x[n] = (2 * w * quiet.state.speech[kSpeechHistory + n] + 0x8000) >> 16;
  }
  for (int j = 0; j < kAutocorrelations; j++) {
    EXPECT_EQ(quiet.frame.autocorrelation[j], std::inner_product(x, x + kFrame - j, x + j, 0)) << j;
  }
  // A loud frame's are shifted modulo 32, which is far down, at lags 0 to 12; up at the others.
  const analysis loud([](int n) { return n % 3 == 0 ? -31003 : 31003; });
  EXPECT_LT(std::abs(loud.frame.autocorrelation[0]) + std::abs(loud.frame.autocorrelation[12]), 64);
  EXPECT_GT(std::abs(loud.frame.autocorrelation[15]), 1 << 28);
  const analysis silent([](int) { return 0; });
  EXPECT_EQ(silent.frame.autocorrelation[0], 5);
  EXPECT_EQ(std::count(silent.frame.autocorrelation, silent.frame.autocorrelation + 17, 0), 16);
  for (int i = 0; i < kLpcOrder; i++) {
    EXPECT_EQ(silent.frame.lpc_q10[i], 0);
    EXPECT_NEAR(silent.frame.lsp[i], (i + 1) * 32768 / 11, 45);
  }
}

TEST(Analysis, LspsOfKnownFilters) {
  random_numbers random(30);
  for (int run = 0; run < 300; run++) {
    int32_t lsp[kLpcOrder], half[kLpcOrder], lpc_q14[kLpcOrder], found[kLpcOrder];
    int16_t lpc_q10[kLpcOrder];
    for (int i = 0; i < kLpcOrder; i++) {
      lsp[i] = (i + 1) * 2979 + random.between(-900, 900);
      half[i] = lsp[i] / 2;
    }
    kelpd_lsp_to_lpc(half, lpc_q14);
    for (int i = 0; i < kLpcOrder; i++) lpc_q10[i] = static_cast<int16_t>((lpc_q14[i] + 8) >> 4);
    ASSERT_TRUE(find_lsps(lpc_q10, found));
    for (int i = 0; i < kLpcOrder; i++) ASSERT_NEAR(found[i], lsp[i], 100) << i;
  }
  int32_t lsp[kLpcOrder];
  EXPECT_FALSE(find_lsps(std::array<int16_t, 10>{0, 0, 0, 0, 0, 0, 0, 0, 0, 2000}.data(), lsp));
  // A frame whose roots are not found keeps the LSPs before it.
  const analysis tone([](int n) { return static_cast<int32_t>(30000 * std::sin(0.2 * n)); });
  EXPECT_TRUE(tone.frame.lsp[0] == 1000 && tone.frame.lsp[9] == 1009);
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
    frame.autocorrelation[0] = 2 * energy;
    kelpe_ratedec_step1(&frame, &state);
    EXPECT_EQ(frame.rate, levels.previous_rate);
    return frame.rate;
  }
};

TEST(RateDecision, ThresholdsAndHangover) {
  constexpr int32_t kClass[8][3] = {// two thresholds in 1/32, hangover
                                    {224, 288, 7}, {224, 403, 7}, {256, 544, 7}, {275, 592, 3},
                                    {285, 621, 0}, {301, 669, 0}, {352, 816, 0}, {505, 1273, 0}};
  for (int32_t c = 0; c < 8; c++) {
    const auto &[threshold1, threshold2, hangover] = kClass[c];
    const int32_t least3 = 100 * threshold1 + 1, least4 = 100 * threshold2 + 1;
    for (const auto &[energy, rate] :
         rows<2>{{least3 - 1, 1}, {least3, 3}, {least4 - 1, 3}, {least4, 4}}) {
      EXPECT_EQ(decision(c, 3200).rate(energy), rate) << c;
    }
    for (const int speech : {1, 4}) {
      decision d(c, 3200);
      for (int f = 0; f < speech; f++) EXPECT_EQ(d.rate(200 * threshold2), 4);
      std::vector<int32_t> expected(static_cast<size_t>(hangover), 4), rates;
      expected.insert(expected.end(), {3, 1, 1, 1});  // never from full straight to eighth
      while (rates.size() < expected.size()) rates.push_back(d.rate(0));
      EXPECT_EQ(rates, expected) << c;
    }
  }
  decision interrupted(3, 3200);  // speech within a hangover starts it anew
  for (const auto &[energy, rate] : {std::pair{1 << 20, 4},
                                     {0, 4},
                                     {1 << 20, 4},
                                     {0, 4},
                                     {0, 4},
                                     {0, 4},
                                     {0, 3},
                                     {0, 1},
                                     {1 << 20, 4}}) {
    EXPECT_EQ(interrupted.rate(energy), rate);
  }
  decision first(0, 3200);
  first.state.frame_count = 0;
  EXPECT_EQ(first.rate(0), 4);
  EXPECT_EQ(decision(7, 5059644).rate(0), 3);  // 505 times the noise level wraps below 0
}

TEST(RateDecision, LevelsAndClasses) {
  decision d(0, 10000);
  rate_decision_state &levels = d.levels;
  levels.lowpass = starting_state().rate_decision.lowpass;
  levels.band[0].smoothed = levels.band[1].smoothed = 4000000;
  levels.band[1].noise = 20;
  encoder_frame frame = {};
  frame.band_energy[0] = frame.band_energy[1] = 4000000;
  frame.lsp[9] = 77;
  for (int f = 0; f < 10; f++) {  // without periodicity noise grows from the ninth frame on
    EXPECT_EQ(levels.band[0].noise, f < 9 ? 10000 : 10300);
    EXPECT_EQ(levels.band[1].noise, f < 9 ? 20 : 21);
    kelpe_ratedec_step2(frame, &d.state);
  }
  EXPECT_TRUE(levels.band[0].noise == 10609 && levels.unvoiced_run == 9 &&
              d.state.previous_lsp[9] == 77);
  for (int f = 0; f < 8; f++) {  // from six periodic frames on a clean one's noise level creeps
    for (int n = 0; n < kFrame; n++) frame.weighted_residual[n] = n % 40 == 0 ? 4000 : 0;
    EXPECT_EQ(levels.signal_seen, f > 5) << f;
    levels.band[0].snr_class = 4;
    kelpe_ratedec_step2(frame, &d.state);
  }
  EXPECT_EQ(levels.band[0].noise, 10609 + 58 + 59);

  // Classes: one every 5 dB from 17.5 dB on; before a signal was seen, from the noise alone.
  const auto snr_class = [](bool signal_seen, int32_t noise, double signal) {
    decision with(0, noise);
    with.levels.signal_seen = signal_seen;
    encoder_frame level = {};
    level.band_energy[0] = with.levels.band[0].smoothed = noise;
    with.levels.band[0].signal = static_cast<int32_t>(signal);
    kelpe_ratedec_step2(level, &with.state);
    EXPECT_EQ(with.levels.band[0].noise, noise);
    return with.levels.band[0].snr_class;
  };
  for (int c = 1; c < 8; c++) {
    const double edge = 1000 * std::pow(10, 1.75 + c / 2.0);
    EXPECT_TRUE(snr_class(true, 1000, edge * 0.97) == c - 1 &&
                snr_class(true, 1000, edge * 1.03) == c);
  }
  EXPECT_EQ(snr_class(true, 10, 2e9), 7);
  EXPECT_TRUE(snr_class(false, 5059644, 1) == 0 && snr_class(false, 1000, 1) == 5);
  EXPECT_EQ(snr_class(false, 10, 1), 1);  // the low three bits of 9

  encoder encoder;
  const int16_t silence[kFrame] = {};
  for (int f = 0; f < 100; f++) encoder.encode(silence);
  const auto &band = static_cast<encoder_handle *>(encoder.handle)->state.rate_decision.band;
  EXPECT_TRUE(band[0].noise == 10 && band[1].noise == 5);
}

TEST(LspQuantizer, ClosedLoopSearch) {
  int64_t weight[kLpcOrder];
  std::fill_n(weight, kLpcOrder, 1 << 20);
  random_numbers random(31);
  uint32_t index[5];
  int32_t lsp[kLpcOrder], quantized[kLpcOrder];
  for (int run = 0; run < 200; run++) {  // what can be represented is found
    random_lsps(&random, index, lsp);
    search_lsp_codebooks(kelp_tbl_vq_lsp, lsp, weight, index, quantized);
    ASSERT_TRUE(std::equal(lsp, lsp + kLpcOrder, quantized));
  }
  // Equal errors go to the lower index; the error of the first step is carried into the second.
  std::vector<kelp_lsp_pair> ties(128, {5000, 5000});
  ties[7] = ties[9] = {990, 1010};
  ties[8] = {1010, 1010};
  const kelp_lsp_pair *const codebooks[5] = {&ties[0], &ties[0], &ties[0], &ties[0], &ties[0]};
  for (int i = 0; i < kLpcOrder; i++) lsp[i] = 1000 * (i + 1);
  search_lsp_codebooks(codebooks, lsp, weight, index, quantized);
  EXPECT_TRUE(index[0] == 7 && index[4] == 7 && quantized[9] == 10000);
}

TEST(LspQuantizer, EighthRateFollowsTheDecoder) {
  random_numbers random(32);
  encoder_state state = starting_state();
  decoder decoder;
  for (int f = 0; f < 30; f++) {
    encoder_frame frame = {};
    frame.rate = 1;
    state.eighth_rate_run = f;
    for (int i = 0; i < kLpcOrder; i++) {  // no change counts as up
      frame.lsp[i] = tbl_idx_lpcorder[i] + state.lsp_memory[i] + i * random.between(-300, 300);
      frame.codes.lsp_bit[i] = frame.lsp[i] - tbl_idx_lpcorder[i] >= state.lsp_memory[i] ? 1 : 0;
    }
    const payload_codes expected = frame.codes;
    kelpe_q_lsp(&frame, &state);
    EXPECT_EQ(std::memcmp(&frame.codes, &expected, sizeof expected), 0);
    std::copy_n(frame.quantized_lsp, kLpcOrder, state.previous_quantized_lsp);
    decoder.decode(pack(1, frame.codes));
    for (int i = 0; i < kLpcOrder; i++) {  // they measure LSP 5 from 90 units apart
      EXPECT_NEAR(frame.quantized_lsp[i], decoder.state().previous_lsp[i], 100) << f;
    }
  }
}

TEST(Weighting, FlatFilterPassesTheCodedSamples) {
  encoder_state state = {};
  std::iota(state.speech, state.speech + kSpeechBuffer, -30);
  for (const int32_t rate : {1, 4}) {
    encoder_frame frame = {};
    frame.rate = rate;
    kelpe_pitch_cb_target(&frame, &state);
    EXPECT_TRUE(std::equal(state.speech, state.speech + kFrame, frame.weighted_speech));
    EXPECT_TRUE(std::equal(state.speech, state.speech + kFrame, frame.weighted_residual));
  }
}

// clang-format off
TEST(Quantizers, Pitch) {
  // The last two lags are read back from the codes as they were.
  for (const auto &[lag_in, fraction_in, code_out, bit_out, lag_out, fraction_out] : rows<6>{
           {0, 2, 0, 0, 143, 0}, {17, 0, 1, 0, 17, 0}, {143, 0, 127, 0, 143, 0}, {17, 2, 1, 1, 17, 2},
           {142, 2, 126, 1, 142, 2}, {143, 2, 50, 1, 66, 2}, {16, 0, 50, 1, 66, 2}}) {
    int32_t lag = lag_in, fraction = fraction_in;
    uint32_t code = 50, bit = 1;
    kelpe_q_pitch_lag(&lag, &code, &fraction, &bit);
    EXPECT_TRUE(code == u32(code_out) && bit == u32(bit_out)) << lag_in;
    EXPECT_TRUE(lag == lag_out && fraction == fraction_out) << lag_in;
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
    const bool predictive = j == 3;  // leaves no whole positions behind
    EXPECT_EQ(state.current, predictive ? c * 65536 - 98304 : 4 * c);
    EXPECT_EQ(state.history_q16[0], (predictive ? 4 * c - 6 : 4 * c) * 65536);
    EXPECT_TRUE(state.previous == 11 && state.history_q16[1] == 60 << 16);
  }
}

TEST(Quantizers, EighthRateGain) {
  // The last gain lies half-way: it gets the lower code.
  for (const auto &[current, previous, gain_in, code_out, position] : rows<5>{
           {0, 0, 0, 0, 0}, {0, 0, 131072, 3, 6}, {4, 4, 98304, 2, 4}, {5, 4, 65536, 0, 0},
           {21, 20, 0, 0, 16}, {21, 20, 1 << 30, 3, 22}, {70, 70, 1 << 30, 3, 60}, {0, 0, 73728, 0, 0}}) {
    gain_quantizer_state state = {current, previous, {}};
    int32_t gain = 0;
    uint32_t code = 9;
    kelpe_q_cb_gain8th(gain_in, &gain, &code, &state);
    EXPECT_TRUE(code == u32(code_out) && gain == kelp_tbl_ga[position + 6]) << current << ' ' << gain_in;
    EXPECT_TRUE(state.current == position && state.previous == current);
  }
}
// clang-format on

// The quantizer's idea of a gain is the decoder's, through every history.
TEST(Quantizers, GainsAgreeWithTheDecoder) {
  random_numbers random(33);
  gain_quantizer_state state = {};
  gain_memory gains = {};
  for (int i = 0; i < 5000; i++) {
    const int32_t rate = i / 200 % 2 ? 3 : 4;
    const int j = rate == 4 ? i % 4 : 0;
    int32_t gain = random.between(-kMax32, kMax32) >> random.below(20);
    uint32_t code = 0, sign = 0;
    kelpe_q_cb_gain(rate, &gain, &code, &sign, j, &state);
    codebook_record record = {0, static_cast<int32_t>(code), static_cast<int32_t>(sign), 0, 0};
    kelp_iq_gain(static_cast<uint32_t>(rate), &record, j, &gains);
    ASSERT_EQ(gain, record.gain_q16) << i;
  }
}

// Targets made from a known answer give it back.
TEST(Search, FindsWhatMadeTheTarget) {
  random_numbers random(34);
  const subframe_coefficients coefficients = {{}, {9000, -5000, 2000}};
  int32_t h[kImpulseResponse];
  impulse_response(coefficients, h);
  EXPECT_TRUE(h[0] == 16384 && h[1] == 9000);
  const auto filtered = [&](int32_t *x, int n) {
    int32_t memory[kLpcOrder] = {};
    lpc_scratch scratch;
    kelp_filter_pole(x, memory, coefficients.weighted, n, false, scratch, x);
  };
  int found = 0;
  int32_t target[40], history[kPitchHistory];
  for (int32_t lag = 17; lag <= 143; lag++) {
    for (const int32_t fraction : {0, 2}) {
      for (int32_t &v : history) v = random.between(-300, 300) * 16384;
      predict_pitch({lag, fraction, 8}, history, 40, target);
      filtered(target, 40);
      const pitch_candidate best = search_pitch(target, h, history);
      EXPECT_TRUE(best.fraction == 0 || best.lag <= 139);
      if (best.lag != lag || best.fraction != fraction) continue;
      found++;
      EXPECT_TRUE(fraction || lag < 40 || std::abs(pitch_gain_q14(best) - 16384) < 600) << lag;
    }
  }
  EXPECT_GE(found, 235);  // of 250: noise is hard to interpolate
  std::fill_n(target, 40, 0);
  EXPECT_EQ(search_pitch(target, h, history).lag, 0);

  for (const int n : {10, 40}) {
    const int16_t *const codebook = n == 10 ? kelp_tbl_cb : kelp_tbl_cb_half;
    for (int i = 0; i < 128; i++) {
      const codebook_record record = {(i % 2 ? -1 : 1) << 22, 0, 0, i, 0};
      codebook_excitation(record, codebook, n, target);
      filtered(target, n);
      const codebook_choice choice = search_codebook(target, h, codebook, n);
      EXPECT_EQ(choice.index, i) << n;
      EXPECT_NEAR(choice.gain_q16, record.gain_q16, 1 << 17);
    }
  }
}

TEST(Search, CorrelationsRepeatShortLagsOnce) {
  int32_t x[40], y[40] = {1 << 16}, eyy = 0;
  for (int n = 0; n < 40; n++) x[n] = (n + 1) << 14;
  for (const auto &[lag, sum] : {std::pair{17, 1 + 18}, {20, 1 + 21}, {39, 1 + 40}, {40, 1}}) {
    int64_t exy = 5;
    kelpe_calc_exy_eyy(x, y, lag, &exy, &eyy);
    EXPECT_TRUE(exy == 5 + 4096 * sum && eyy == (lag < 40 ? 256 : 128)) << lag;
  }
  std::fill_n(y, 40, 1 << 30);
  int64_t exy = 0;
  kelpe_calc_exy_eyy(x, y, 50, &exy, &eyy);
  EXPECT_EQ(eyy, kMax32);  // held, not wrapped
  EXPECT_EQ(pitch_gain_q14({50, 0, 1 << 20, kMax32}), 0);
  EXPECT_EQ(pitch_gain_q14({50, 0, 1 << 20, 3}), 0);
  EXPECT_EQ(pitch_gain_q14({50, 0, 12800, 99}), 17056);
}

TEST(NoiseFrame, HalvingFollowsTheClass) {
  encoder_state state = starting_state();
  for (const auto &[snr_class, halved] :
       {std::pair{3, false}, {4, true}, {3, true}, {2, true}, {1, false}, {2, false}, {7, true}}) {
    uint8_t bytes[4];
    kcmn_bsw_state writer;
    kcmn_bsw_init(&writer, bytes, 4, nullptr);
    encoder_frame frame = {};
    frame.writer = &writer;
    frame.rate = 1;
    std::fill_n(frame.weighted_residual, kFrame, 150);
    state.gains.current = state.gains.previous = 40;
    state.rate_decision.band[0].snr_class = snr_class;
    encode_noise(&frame, &state);
    EXPECT_TRUE(state.halve_noise == halved && state.gains.current == (halved ? 35 : 39))
        << snr_class;
    EXPECT_TRUE(state.seed == bytes[1] * 256u + bytes[2] && writer.cur == bytes &&
                writer.room == 8);
  }
  EXPECT_EQ(state.eighth_rate_run, 7);
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
    codebook_record ours[4], theirs[4];
    for (int j = 0; j < 4; j++) {
      theirs[j] = ours[j] = {random.between(1 << 18, 1 << 22), 0, 0, random.between(0, 127), s};
    }
    int32_t a[40], b[40];
    kelpe_cmn_dec(rate, &state, coefficients, pitch, ours, a, synthesis_mode::normal, 40, c);
    kelpd_cmn_dec(rate, &decoder.state(), coefficients, pitch, theirs, b, synthesis_mode::normal,
                  40, c);
    for (int k = 0; k < 40; k++) {
      signal += std::pow(b[k], 2);
      error += std::pow(1.0 * a[k] - b[k], 2);
    }
    ASSERT_EQ(ours[0].seed, theirs[0].seed);
  }
  EXPECT_GT(10 * std::log10(signal / error), 30);
  // Its analysis path touches the long-term filter and the weighted one alone.
  local_decoder_state expected = state.local_decoder;
  codebook_record record = {1 << 20, 0, 0, 3, 0};
  kelpe_cmn_dec(4, &state, coefficients, {}, &record, nullptr, synthesis_mode::analysis, 10, 1);
  const local_decoder_state &after = state.local_decoder;
  EXPECT_FALSE(std::equal(after.pitch.history, after.pitch.history + 10, expected.pitch.history));
  EXPECT_EQ(after.weighted.memory[0], after.weighted_output[9]);
  expected.pitch = after.pitch;
  expected.weighted = after.weighted;
  std::copy_n(after.weighted_output, 40, expected.weighted_output);
  EXPECT_EQ(std::memcmp(&after, &expected, sizeof after), 0);
}

}  // namespace
