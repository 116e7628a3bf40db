// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "tools/kelp/compare.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "tools/kelp/failure.h"
#include "tools/kelp/rates.h"
#include "tools/kelp/recording_reader.h"
#include "tools/kelp/speech_level.h"
#include "tools/kelp/standard_streams.h"

namespace {

using Samples = std::vector<double>;

constexpr std::ptrdiff_t kLongestDelay = KELP_SAMPLE_RATE_HZ;  // either way
constexpr std::ptrdiff_t kSegment = 10 * KELP_SAMPLE_RATE_HZ;  // that the delay is found in
constexpr std::ptrdiff_t kCoarse = 4;                          // samples in a step of the search

Samples read_recording(const std::string &path, ComparedRecording *facts,
                       std::vector<std::string> *notes) {
  RecordingReader reader(path, {});
  Samples samples;
  SpeechLevel level;
  std::array<double, 4096> block;
  for (size_t got; (got = reader.read(block)) != 0;) {
    const std::span<const double> part = std::span<const double>(block).first(got);
    samples.insert(samples.end(), part.begin(), part.end());
    level.add(part);
  }
  *facts = {static_cast<double>(samples.size()) / kSampleRate_hz, level.active_dbov()};
  if (level.active_dbov() <= kNoSpeech_dbov) {
    throw Failure(input_name(path) + ": is silent; name a recording with speech in it");
  }
  notes->insert(notes->end(), reader.notes().begin(), reader.notes().end());
  return samples;
}

// As the encoder's input filter: -3 dB at 120 Hz, and nearly no gain or loss above.
void high_pass(Samples *samples) {
  constexpr double kPole = 0.94;  // twice
  constexpr double kGain = 0.946;
  std::array<double, 2> in = {};
  std::array<double, 2> out = {};
  for (double &sample : *samples) {
    const double y =
        kGain * (sample - 2 * in[0] + in[1]) + 2 * kPole * out[0] - kPole * kPole * out[1];
    in = {sample, in[0]};
    out = {y, out[0]};
    sample = y;
  }
}

// The loudest stretch of up to 10 s, and where it begins.
std::span<const double> loudest_segment(const Samples &samples, std::ptrdiff_t *begin) {
  const auto size = static_cast<std::ptrdiff_t>(samples.size());
  const auto length = std::min(size, kSegment);
  const auto energy = [&](std::ptrdiff_t n) {
    return std::pow(samples[static_cast<size_t>(n)], 2);
  };
  double sum = 0;
  double most = -1;
  for (std::ptrdiff_t n = 0; n < size; n++) {
    sum += energy(n);
    if (n >= length) sum -= energy(n - length);
    if (n + 1 >= length && sum > most) {
      most = sum;
      *begin = n + 1 - length;
    }
  }
  return std::span(samples).subspan(static_cast<size_t>(*begin), static_cast<size_t>(length));
}

double energy(std::span<const double> samples) {
  double sum = 0;
  for (const double sample : samples) sum += sample * sample;
  return sum;
}

// How well `x` matches what lies in `y` from sample `at` on, -1 to 1. Beyond its ends is silence.
double correlation(std::span<const double> x, std::span<const double> y, std::ptrdiff_t at) {
  const auto size_x = static_cast<std::ptrdiff_t>(x.size());
  const auto size_y = static_cast<std::ptrdiff_t>(y.size());
  const std::ptrdiff_t first = std::clamp<std::ptrdiff_t>(-at, 0, size_x);
  const std::ptrdiff_t last = std::clamp<std::ptrdiff_t>(size_y - at, first, size_x);
  const auto count = static_cast<size_t>(last - first);
  if (count == 0) return 0;
  const std::span<const double> met = y.subspan(static_cast<size_t>(at + first), count);
  double products = 0;
  for (size_t n = 0; n < count; n++) products += x[static_cast<size_t>(first) + n] * met[n];
  const double energies = energy(x) * energy(met);
  return energies > 0 ? products / std::sqrt(energies) : 0;
}

// Where between two places `x` matches `y` best.
std::ptrdiff_t best_match(std::span<const double> x, std::span<const double> y, std::ptrdiff_t from,
                          std::ptrdiff_t to) {
  std::ptrdiff_t best = from;
  double most = -2;
  for (std::ptrdiff_t at = from; at <= to; at++) {
    const double match = correlation(x, y, at);
    if (match > most) {
      most = match;
      best = at;
    }
  }
  return best;
}

// Sums of so many samples as a coarse step has: speech is strongest at low frequencies.
Samples coarse(std::span<const double> samples) {
  Samples sums(samples.size() / kCoarse);
  for (size_t n = 0; n < sums.size() * kCoarse; n++) sums[n / kCoarse] += samples[n];
  return sums;
}

// The samples by which `other` lags `reference`.
std::ptrdiff_t find_delay(const Samples &reference, const Samples &other) {
  std::ptrdiff_t begin = 0;
  const std::span<const double> segment = loudest_segment(reference, &begin);
  const std::ptrdiff_t near =
      kCoarse * best_match(coarse(segment), coarse(other), (begin - kLongestDelay) / kCoarse,
                           (begin + kLongestDelay) / kCoarse);
  return best_match(segment, other, near - 2 * kCoarse, near + 2 * kCoarse) - begin;
}

}  // namespace

Comparison compare_recordings(const CompareOptions &options) {
  Comparison result;
  Samples reference = read_recording(options.reference, &result.reference, &result.notes);
  const Samples other = read_recording(options.other, &result.other, &result.notes);
  if (options.high_pass) high_pass(&reference);
  result.delay = find_delay(reference, other);

  // Both from where both are, in step.
  const auto skip = [](const Samples &samples, std::ptrdiff_t count) {
    return std::span(samples).subspan(
        std::min(samples.size(), static_cast<size_t>(std::max<std::ptrdiff_t>(count, 0))));
  };
  std::span<const double> one = skip(reference, -result.delay);
  std::span<const double> two = skip(other, result.delay);
  one = one.first(std::min(one.size(), two.size()));
  two = two.first(one.size());
  if (one.size() < kelp::quality::kFrame) {
    throw Failure(input_name(options.other) + ": has less than a frame of 20 ms in common with " +
                  input_name(options.reference) + "; compare longer recordings");
  }
  result.correlation = correlation(one, two, 0);
  result.snr = kelp::quality::segmental_snr(one, two);
  result.distance = kelp::quality::log_spectral_distance(one, two);
  return result;
}
