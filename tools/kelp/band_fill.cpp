// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "tools/kelp/band_fill.h"

#include <cmath>
#include <numbers>

#include "tools/kelp/rates.h"

namespace {

constexpr double kLowest_hz = 3200;
constexpr double kHighest_hz = 3900;
constexpr double kSmoothing_s = 0.03;

// The ideal low-pass filter at tap `n` from its middle.
double low_pass(double hz, double n) {
  const double cycles = hz / kSampleRate_hz;
  return n == 0 ? 2 * cycles : std::sin(2 * std::numbers::pi * cycles * n) / (std::numbers::pi * n);
}

}  // namespace

BandFill::BandFill(double below_speech_db) : share_(std::pow(10, -below_speech_db / 20)) {
  constexpr double kHalf = (kTaps - 1) / 2.0;
  double power = 0;
  for (size_t k = 0; k < kTaps; k++) {
    const double n = static_cast<double>(k) - kHalf;
    const double turn = std::numbers::pi * n / kHalf;
    const double blackman = 0.42 + 0.5 * std::cos(turn) + 0.08 * std::cos(2 * turn);
    filter_[k] = blackman * (low_pass(kHighest_hz, n) - low_pass(kLowest_hz, n));
    power += filter_[k] * filter_[k] / 3;  // that of next_noise is 1/3
  }
  for (double &tap : filter_) tap /= std::sqrt(power);
}

// Uniform from -1 to 1, the same on every machine.
double BandFill::next_noise() {
  seed_ = seed_ * 1664525U + 1013904223U;
  return static_cast<double>(seed_) / 2147483648.0 - 1;
}

void BandFill::add_to(std::span<double> samples) {
  static const double kKept = std::exp(-1 / (kSmoothing_s * kSampleRate_hz));
  for (double &sample : samples) {
    power_ = kKept * power_ + (1 - kKept) * sample * sample;
    history_[oldest_] = history_[oldest_ + kTaps] = next_noise();
    oldest_ = (oldest_ + 1) % kTaps;
    double noise = 0;  // the filter is symmetric: it may run either way
    for (size_t k = 0; k < kTaps; k++) noise += filter_[k] * history_[oldest_ + k];
    sample += share_ * std::sqrt(power_) * noise;
  }
}
