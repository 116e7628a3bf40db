// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// How loud a recording is, and whether that suits the codec. Levels are in dBov: below the rms of a
// square wave at full scale. docs/INPUT.md has the measurements behind the limits.
#ifndef KELP_TOOLS_KELP_SPEECH_LEVEL_H
#define KELP_TOOLS_KELP_SPEECH_LEVEL_H

#include <array>
#include <cstdint>
#include <span>
#include <string>

// Active speech at this level comes through the codec best.
inline constexpr double kBestLevel_dbov = -22;
// Below this it loses to the codec's rounding.
inline constexpr double kFaint_dbov = -36;
// Above this a frame runs into the limits of its integers.
inline constexpr double kOverload_dbov = -4;

// What stands for the level of silence.
inline constexpr double kNoSpeech_dbov = -150;

// The level of active speech as ITU-T P.56 measures it (method B): the mean power over the time in
// which an envelope stays within 15.9 dB of that power, pauses up to 200 ms included.
class SpeechLevel {
 public:
  void add(std::span<const double> samples);  // 8000 Hz, scaled to 16 bits

  [[nodiscard]] double active_dbov() const;  // kNoSpeech_dbov where there is none
  [[nodiscard]] double peak_dbov() const;

  // What brings active speech to the best level, or as near to it as the peak allows; 0 where there
  // is none.
  [[nodiscard]] double best_gain_db() const;

 private:
  struct Threshold {
    uint64_t active = 0;      // samples, pauses up to the hangover included
    uint64_t last_above = 0;  // number of the sample after the last one above it; 0: none
  };
  std::array<Threshold, 15> thresholds_{};  // 1, 2, 4 ... 16384
  std::array<double, 2> envelope_{};        // smoothed once and twice
  double energy_ = 0;
  double peak_ = 0;
  uint64_t samples_ = 0;
};

// Watches what goes into the encoder, frame by frame.
class LevelWatch {
 public:
  void add(std::span<const double> frame);

  // What the user should know, or nothing.
  [[nodiscard]] std::string note() const;

 private:
  SpeechLevel level_;
  uint64_t frames_ = 0;
  uint64_t overloaded_ = 0;  // frames
  uint64_t clipped_ = 0;     // samples
};

#endif  // KELP_TOOLS_KELP_SPEECH_LEVEL_H
