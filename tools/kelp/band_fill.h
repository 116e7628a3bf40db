// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
#ifndef KELP_TOOLS_KELP_BAND_FILL_H
#define KELP_TOOLS_KELP_BAND_FILL_H

#include <array>
#include <cstdint>
#include <span>

// Adds faint noise above 3.2 kHz, 40 dB below the speech and following its level. Speech that has
// nothing above 2.6 kHz or so makes packets whose line spectral pairs decoders refuse: all of them
// crowd below. The noise draws the upper ones apart. docs/INPUT.md has the measurements.
class BandFill {
 public:
  static constexpr double kBelowSpeech_db = 40;

  explicit BandFill(double below_speech_db = kBelowSpeech_db);

  void add_to(std::span<double> samples);  // 8000 Hz, scaled to 16 bits

 private:
  static constexpr size_t kTaps = 61;

  double next_noise();

  std::array<double, kTaps> filter_{};       // makes noise of rms 1 from what next_noise gives
  std::array<double, 2 * kTaps> history_{};  // of it, a ring that stands there twice
  size_t oldest_ = 0;
  uint32_t seed_ = 1;
  double share_;      // of the speech's level
  double power_ = 0;  // of the speech, smoothed
};

#endif  // KELP_TOOLS_KELP_BAND_FILL_H
