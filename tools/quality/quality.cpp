// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "tools/quality/quality.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>
#include <utility>

namespace kelp::quality {
namespace {

constexpr double kFullScale = 32768;
constexpr double kActiveRange_db = 32;
constexpr double kLeastSnr_db = -10;
constexpr double kMostSnr_db = 35;
constexpr double kFloor_dbov = -70;

constexpr size_t kFirstBin = 4;  // 125 Hz
constexpr size_t kLastBin = 121;
using spectrum = std::array<std::complex<double>, kWindow>;

double power_ratio(double db) {
  return std::pow(10.0, db / 10);
}

double energy(signal samples, size_t first, size_t count) {
  double sum = 0;
  for (size_t n = first; n < first + count; n++) sum += samples[n] * samples[n];
  return sum;
}

template <typename Measure>
score mean_over_active(signal reference, signal other, Measure measure) {
  const std::vector<bool> active = active_frames(reference);
  score result{0, 0, std::min(reference.frames(), other.frames())};
  for (size_t k = 0; k < result.frames; k++) {
    if (!active[k]) continue;
    result.db += measure(reference, other, k);
    result.active++;
  }
  if (result.active != 0) result.db /= static_cast<double>(result.active);
  return result;
}

// The unit circle, clockwise. Its real part gives the Hann window too.
const spectrum &circle() {
  static const spectrum kPoints = [] {
    spectrum points;
    for (size_t n = 0; n < kWindow; n++)
      points[n] = std::polar(1.0, -2 * std::numbers::pi * static_cast<double>(n) / kWindow);
    return points;
  }();
  return kPoints;
}

// Fast Fourier transform in place: bit-reversed order, then ever longer pieces joined in pairs.
void transform(spectrum *x) {
  for (size_t i = 1, j = 0; i < kWindow; i++) {
    size_t bit = kWindow / 2;
    for (; (j & bit) != 0; bit /= 2) j ^= bit;
    j ^= bit;
    if (i < j) std::swap((*x)[i], (*x)[j]);
  }
  for (size_t half = 1; half < kWindow; half *= 2) {
    for (size_t n = 0; n < kWindow; n++) {
      if ((n & half) != 0) continue;
      const std::complex<double> turned =
          (*x)[n + half] * circle()[(n & (half - 1)) * (kWindow / 2 / half)];
      (*x)[n + half] = (*x)[n] - turned;
      (*x)[n] += turned;
    }
  }
}

double hann(size_t n) {
  return (1 - circle()[n].real()) / 2;
}

double window_distance(signal reference, signal other, std::ptrdiff_t begin) {
  double floor = 0;
  for (size_t n = 0; n < kWindow; n++)
    floor += hann(n) * hann(n) * power_ratio(kFloor_dbov) * kFullScale * kFullScale;
  const auto [one, two] = power_spectra(reference, other, begin);
  double sum = 0;
  for (size_t bin = kFirstBin; bin <= kLastBin; bin++)
    sum += std::pow(10 * std::log10((one[bin] + floor) / (two[bin] + floor)), 2);
  return std::sqrt(sum / (kLastBin - kFirstBin + 1));
}

}  // namespace

// Both are transformed as one complex signal and told apart by symmetry.
std::pair<power_spectrum, power_spectrum> power_spectra(signal one, signal other,
                                                        std::ptrdiff_t begin) {
  spectrum both{};
  for (size_t n = 0; n < kWindow; n++) {
    const std::ptrdiff_t at = begin + static_cast<std::ptrdiff_t>(n);
    if (at < 0) continue;
    const auto i = static_cast<size_t>(at);
    both[n] = {hann(n) * one[i], hann(n) * other[i]};
  }
  transform(&both);

  std::pair<power_spectrum, power_spectrum> power;
  for (size_t bin = 0; bin < kBins; bin++) {
    const std::complex<double> mirrored = std::conj(both[(kWindow - bin) % kWindow]);
    power.first[bin] = std::norm(both[bin] + mirrored) / 4;
    power.second[bin] = std::norm(both[bin] - mirrored) / 4;
  }
  return power;
}

double level_dbov(signal samples) {
  constexpr double kLeast_dbov = -150;
  const double scale = kFullScale * kFullScale * static_cast<double>(samples.size());
  const double sum = energy(samples, 0, samples.size());
  return sum > 0 ? std::max(10 * std::log10(sum / scale), kLeast_dbov) : kLeast_dbov;
}

std::vector<bool> active_frames(signal samples) {
  std::vector<double> energies(samples.frames());
  for (size_t k = 0; k < energies.size(); k++) energies[k] = energy(samples, k * kFrame, kFrame);
  if (energies.empty()) return {};
  std::vector<double> sorted = energies;
  std::sort(sorted.begin(), sorted.end());
  const double least = sorted[(sorted.size() - 1) * 95 / 100] * power_ratio(-kActiveRange_db);
  std::vector<bool> active;
  active.reserve(energies.size());
  for (const double one : energies) active.push_back(one > 0 && one >= least);
  return active;
}

double frame_snr(signal reference, signal other, size_t k) {
  double error = 1e-9;
  for (size_t n = k * kFrame; n < (k + 1) * kFrame; n++)
    error += std::pow(reference[n] - other[n], 2);
  const double snr = 10 * std::log10(energy(reference, k * kFrame, kFrame) / error);
  return std::clamp(snr, kLeastSnr_db, kMostSnr_db);
}

double frame_distance(signal reference, signal other, size_t k) {
  const auto centre = static_cast<std::ptrdiff_t>(k * kFrame + kFrame / 2);
  constexpr std::ptrdiff_t kHalf = kWindow / 2;
  constexpr std::ptrdiff_t kQuarterFrame = kFrame / 4;
  return (window_distance(reference, other, centre - kQuarterFrame - kHalf) +
          window_distance(reference, other, centre + kQuarterFrame - kHalf)) /
         2;
}

score segmental_snr(signal reference, signal other) {
  return mean_over_active(reference, other, frame_snr);
}

score log_spectral_distance(signal reference, signal other) {
  return mean_over_active(reference, other, frame_distance);
}

}  // namespace kelp::quality
