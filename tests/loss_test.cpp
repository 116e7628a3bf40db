// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// What lost packets do to speech, by the measures of docs/LOSS.md, and the measures themselves.

#include "tools/quality/loss.h"

#include <cmath>
#include <numbers>

#include "tests/speech.h"

using namespace kelp::quality;
using kelp_test::Speech;

namespace {

// Samples are the same everywhere, logarithms nearly; counts cannot be off by so little.
void expect_figures(const std::vector<double> &measured, const std::vector<double> &expected) {
  ASSERT_EQ(measured.size(), expected.size());
  for (size_t i = 0; i < measured.size(); i++) EXPECT_NEAR(measured[i], expected[i], 0.01) << i;
}

// Signals whose figures are known without measuring.
TEST(Quality, MeasuresKnowTheirUnits) {
  kelp_test::random_numbers random(1);
  std::vector<double> noise(8000), smaller, tone;
  for (double &sample : noise) sample = random.between(-8000, 8000);
  for (const double sample : noise) smaller.push_back(0.9 * sample);
  for (int n = 0; n < 8000; n++) tone.push_back(10000 * std::sin(std::numbers::pi * n / 4));
  expect_figures({level_dbov(tone), segmental_snr(noise, smaller).db,
                  log_spectral_distance(noise, smaller).db},
                 {20 * std::log10(10000 / 32768.0) - 3.0103, 20, 0.915});

  // At 1000 Hz, a bin's centre, the window leaves amplitudes 64 and, on both sides, 32 times the
  // tone's. The floor is the sum of its squares, 96, times the variance at -70 dBov.
  const double floor_db = 10 * std::log10(96 * std::pow(32768, 2) * 1e-7);
  const double centre = 20 * std::log10(64 * 10000) - floor_db;
  const double side = 20 * std::log10(32 * 10000) - floor_db;
  expect_figures({frame_distance(tone, std::vector<double>(8000), 10)},
                 {std::sqrt((centre * centre + 2 * side * side) / 118)});

  std::fill(noise.begin() + 4000, noise.end(), 0);  // a pause does not count
  const score half = segmental_snr(noise, smaller);
  EXPECT_TRUE(half.active == 25 && half.frames == 50 && half.db > 19.99);
}

class Loss : public Speech {
 protected:
  void SetUp() override {
    Speech::SetUp();
    if (IsSkipped() || HasFailure()) return;
    uint32_t sum = 0;
    for (const size_t i : {0U, 6U}) {  // a woman's voice and a man's
      for (const int16_t sample : recordings[i].pcm) sum = 31 * sum + static_cast<uint16_t>(sample);
      speech.emplace_back(recordings[i].pcm);
    }
    EXPECT_EQ(sum, 3987988374) << "other recordings: the figures of these tests are not theirs";
  }
  std::vector<sent_speech> speech;
};

TEST_F(Loss, Random) {
  std::vector<double> figures;
  for (const double percent : {0.0, 1.0, 3.0, 5.0, 10.0, 20.0}) {
    const random_loss loss = measure_random_loss(speech, percent, 1);
    figures.insert(figures.end(), {loss.lost_percent, loss.snr_db, loss.distance_db});
  }
  expect_figures(figures, {0, 9.561, 6.428, 1.057, 9.232, 6.519, 3.765, 8.201, 6.782, 6.011, 7.517,
                           7.010, 10.832, 5.894, 7.482, 20.872, 3.741, 8.366});
}

TEST_F(Loss, Bursts) {
  const auto figures = [this](size_t length) -> std::vector<double> {
    const burst_loss loss = measure_bursts(speech, length);
    std::vector<double> all = loss.level_dbov;
    all.insert(all.end(), {loss.snr_db, loss.clean_snr_db, loss.distance_db, loss.clean_distance_db,
                           loss.after_distance_db});
    for (const jump_count &jump : {loss.start, loss.end})
      for (const int count : {jump.largest, jump.largest_clean, jump.excess}) all.push_back(count);
    for (const size_t count : {loss.start.larger, loss.end.larger, loss.bursts,
                               loss.recovery_median, loss.recovery_worst, loss.fading_frames()})
      all.push_back(static_cast<double>(count));
    return all;
  };
  expect_figures(figures(1), {-26.78, 0.511, 9.707, 10.637, 6.455, 3.931, 19267, 36160, 0, 24364,
                              36160, 418, 0, 1, 20, 4, 12, 0});
  expect_figures(figures(3),
                 {-26.78, -31.92, -35.33, -0.512, 9.894, 15.006, 6.674, 5.734, 19267, 36160,
                  0,      11716,  33301,  1882,   0,     1,      20,    8,     18,    2});
  expect_figures(figures(20),
                 {-23.85, -29.14, -32.86, -37.07, -41.90, -47.18, -52.49, -57.56, -62.26, -66.42,
                  -69.91, -72.65, -74.65, -76.03, -76.89, -77.42, -77.71, -77.88, -78.01, -78.09,
                  -0.269, 9.796,  25.806, 6.532,  3.724,  14646,  21663,  0,      5621,   19334,
                  0,      0,      0,      13,     4,      7,      15});
}

}  // namespace
