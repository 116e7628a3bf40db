// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// Filters and the synthesis of one subframe.

#include "common/synthesis.h"

#include <algorithm>
#include <cmath>

#include "dec/decoder.h"
#include "tests/support.h"

using namespace kelp;
using namespace kelp_test;

namespace {

const filter_kernels &kernels =
    kPlainFilterKernels;  // tests/filter_kernels_test.cpp has the others

TEST(Filters, TenthOrder) {
  for (const auto filter : {kernels.zero, kernels.pole}) {
    random_numbers random(11);
    int32_t x[40], a[kLpcOrder], y[40], memory[kLpcOrder], before[kLpcOrder];
    for (int32_t &v : x) v = random.between(-1000000, 1000000);
    for (int32_t &v : a) v = random.between(-3000, 3000);
    for (int32_t &v : memory) v = random.between(-1000000, 1000000);
    std::copy_n(memory, kLpcOrder, before);
    filter(x, memory, a, 40, false, y);  // without update: no trace
    EXPECT_TRUE(std::equal(before, before + kLpcOrder, memory));
    for (int k = 0; k < 40; k++) {
      double expected = x[k];
      for (int i = 0; i < kLpcOrder; i++) {
        const int32_t past =
            k <= i ? memory[kLpcOrder + k - 1 - i] : (filter == kernels.pole ? y : x)[k - 1 - i];
        expected += std::floor(1.0 * a[i] * past / 16384);  // every term by itself
      }
      ASSERT_EQ(y[k], expected) << k;
    }
    for (const auto &[from, n] : {std::pair{0, 3}, {3, 0}, {3, 37}}) {  // in pieces and in place
      filter(x + from, memory, a, n, true, x + from);
    }
    EXPECT_TRUE(std::equal(y, y + 40, x));
  }
}

// Ten samples of response to one sample `delay` steps back, through a lag of 40 at gain 1.0.
using response = std::vector<int32_t>;
template <pitch_rounding kRounding>
response pitch_response(int32_t sample, int delay, int32_t fraction) {
  int32_t x[kMaxSubframe] = {}, history[kPitchHistory] = {};
  history[kPitchHistory - delay] = sample;
  kernels.pitch(x, 40, 8, fraction, kRounding, history, 10, false, x);
  return {x, x + 10};
}

TEST(Filters, PitchFractions) {
  constexpr auto decoder = pitch_response<pitch_rounding::each_term>;
  constexpr auto encoder = pitch_response<pitch_rounding::sum>;
  // A sample of 1.0 meets the taps one after another.
  const response taps = {-111, 675, -2350, 9647, 9647, -2350, 675, -111, 0, 0};
  EXPECT_TRUE(decoder(16384, 37, 2) == taps && encoder(16384, 37, 2) == taps);
  EXPECT_EQ(decoder(16384, 36, -1), (response{87, -111, 675, -2350, 9647, 9647, -2350, 675, 0, 0}));
  // The decoder floors each term, the encoder cuts the sum towards zero.
  EXPECT_EQ(decoder(-1, 37, 2), (response{0, -1, 0, -1, -1, 0, -1, 0, 0, 0}));
  EXPECT_EQ(encoder(-1, 37, 2), response(10));
  // Whole lags go in steps of 16384.
  EXPECT_EQ(decoder(8191, 40, 0), response(10));
  EXPECT_TRUE(decoder(8192, 40, 0)[0] == 16384 && decoder(24575, 40, 0)[0] == 16384);
  EXPECT_TRUE(encoder(-8193, 40, 0)[0] == -16384 && encoder(-8192, 40, 0)[0] == 0);
}

TEST(Synthesis, IntegerSquareRoot) {
  for (int64_t root = 0; root <= 65535; root++) {
    ASSERT_EQ(integer_sqrt(root * root), root);
    ASSERT_EQ(integer_sqrt(root * root + 2 * root), root);
  }
  EXPECT_TRUE(integer_sqrt(INT64_MAX) == 65535 && integer_sqrt(INT64_MIN) == 0);
}

TEST(Synthesis, Excitation) {
  int32_t e[40];
  fir_filter<kNoiseTaps> fir = {{}, {1 << 14}};
  // Eighth rate: seeds 259, 4126, 52753 as signed noise x 11 x gain, rounded.
  codebook_record records[4] = {{65536, 0, 0, 0, 0}};
  make_excitation(kernels, 1, records, &fir, 14, 3, 1, e);
  EXPECT_TRUE(e[0] == 178 && e[1] == 2837 && e[2] == -8788 && records[0].seed == 52753);
  // Full and half rate: index i enters the circular codebook i samples before its start.
  for (int j = 0; j < 4; j++) records[j] = {j == 3 ? -65536 : 32768, 0, 0, j, 7};
  make_excitation(kernels, 4, records, &fir, 14, 40, 4, e);
  EXPECT_TRUE(e[0] == 819 && e[1] == -5324 && e[10] == -5324 && e[11] == 819 && e[20] == 655 &&
              e[21] == -5324 && e[30] == 2 * 15482 && e[33] == 2 * -819);
  make_excitation(kernels, 3, records + 3, &fir, 14, 40, 1, e);
  EXPECT_TRUE(e[3] == 0 && e[4] == 2 * 16384 && e[6] == 2 * 12288 && e[34] == 2 * -20480);
  // Quarter rate: the second half is the first one scaled once more; seed and filter go on.
  records[0] = {65536, 0, 0, 0, 0};
  records[1] = {1 << 20, 0, 0, 0, 1234};
  make_excitation(kernels, 2, records, &fir, 14, 40, 2, e);
  uint32_t seed = 0;
  for (int k = 0; k < 40; k++) {
    seed = (seed * 521 + 259) % 65536;
    const int32_t noise = static_cast<int16_t>(seed);
    EXPECT_EQ(e[k], k < 20 ? (noise * 11 + 8) >> 4 : (e[k - 20] >> 14) * 11) << k;
  }
  EXPECT_EQ(records[0].seed, static_cast<int32_t>(seed));
  EXPECT_EQ(fir.memory[0], static_cast<int16_t>(seed) * 16384);
}

TEST(Synthesis, SmoothingGain) {
  decoder decoder;
  auto &synthesis = decoder.state().synthesis;
  int32_t output[40];
  for (const auto &[gain, smoothing] : {std::pair{16, 4}, {9, 4}, {8, 4}, {5, 2}, {0, 0}}) {
    codebook_record record = {};
    synthesize_subframe(kDecoderSynthesis, 4, &synthesis, {}, {60, 0, static_cast<int16_t>(gain)},
                        &record, nullptr, output, 40, 1);
    EXPECT_EQ(synthesis.smoothing.gain_q3, smoothing);
    EXPECT_TRUE(synthesis.pitch.gain_q3 == gain && synthesis.smoothing.lag == 60);
  }
}

TEST(Synthesis, OutputSaturates) {
  constexpr int32_t kValues[] = {32767 << 12, 134217728, -134217728,    -134217729, kMax32,
                                 kMin32,      5 << 12,   (5 << 12) - 1, -1};
  constexpr int16_t kExpected[] = {32767, 32767, -32768, -32768, 32767, -32768, 5, 4, -1};
  int16_t pcm[9];
  kernels.to_pcm(kValues, 9, pcm);
  EXPECT_TRUE(std::equal(kExpected, std::end(kExpected), pcm));
}

}  // namespace
