// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "tools/kelp/speech_level.h"

#include <algorithm>
#include <cinttypes>
#include <cmath>

#include "tools/kelp/rates.h"
#include "tools/kelp/text.h"

namespace {

constexpr double kFullScale = 32768;
constexpr double kMargin_db = 15.9;
constexpr double kSmoothing_s = 0.03;
constexpr uint64_t kHangover = KELP_SAMPLE_RATE_HZ / 5;  // samples

double dbov(double amplitude) {
  return amplitude > 0 ? std::max(20 * std::log10(amplitude / kFullScale), kNoSpeech_dbov)
                       : kNoSpeech_dbov;
}

}  // namespace

void SpeechLevel::add(std::span<const double> samples) {
  static const double kKept = std::exp(-1 / (kSmoothing_s * kSampleRate_hz));
  for (const double sample : samples) {
    const double size = std::abs(sample);
    envelope_[0] = kKept * envelope_[0] + (1 - kKept) * size;
    envelope_[1] = kKept * envelope_[1] + (1 - kKept) * envelope_[0];
    energy_ += sample * sample;
    peak_ = std::max(peak_, size);
    samples_++;
    double height = 1;
    for (Threshold &threshold : thresholds_) {
      if (envelope_[1] >= height) threshold.last_above = samples_;
      if (threshold.last_above == 0) break;  // no higher one has been reached either
      if (samples_ - threshold.last_above <= kHangover) threshold.active++;
      height *= 2;
    }
  }
}

double SpeechLevel::active_dbov() const {
  double level_before = 0;
  double excess_before = 0;
  for (size_t j = 0; j < thresholds_.size() && thresholds_[j].active != 0; j++) {
    const double level = dbov(std::sqrt(energy_ / static_cast<double>(thresholds_[j].active)));
    const double excess = level - dbov(std::ldexp(1.0, static_cast<int>(j))) - kMargin_db;
    if (excess <= 0) {
      if (j == 0) return level;
      const double part = excess_before / (excess_before - excess);
      return level_before + part * (level - level_before);
    }
    level_before = level;
    excess_before = excess;
  }
  return kNoSpeech_dbov;
}

double SpeechLevel::peak_dbov() const {
  return dbov(peak_);
}

double SpeechLevel::best_gain_db() const {
  const double level = active_dbov();
  return level > kNoSpeech_dbov ? std::min(kBestLevel_dbov - level, -peak_dbov()) : 0;
}

void LevelWatch::add(std::span<const double> frame) {
  level_.add(frame);
  double energy = 0;
  for (const double sample : frame) {
    energy += sample * sample;
    if (sample >= kFullScale - 0.5 || sample < -kFullScale - 0.5) clipped_++;
  }
  const auto count = static_cast<double>(frame.size());
  if (count > 0 && dbov(std::sqrt(energy / count)) > kOverload_dbov) overloaded_++;
  frames_++;
}

std::string LevelWatch::note() const {
  const double level = level_.active_dbov();
  const std::string remedy =
      formatted(" it with --gain auto (here %+.1f dB)", level_.best_gain_db());
  // A frame or a sample now and then is not heard.
  if (overloaded_ * 1000 > frames_ || clipped_ * 10000 > frames_ * KELP_FRAME_SAMPLES) {
    std::string text =
        formatted("overloaded: %" PRIu64 " of %" PRIu64 " frames are above %.0f dBov", overloaded_,
                  frames_, kOverload_dbov);
    if (clipped_ != 0) text += formatted(", %" PRIu64 " samples clipped", clipped_);
    return text + "; lower" + remedy;
  }
  if (level > kNoSpeech_dbov && level < kFaint_dbov) {
    return formatted("faint: active speech is at %.1f dBov, below %.0f", level, kFaint_dbov) +
           "; raise" + remedy;
  }
  return "";
}
