// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// How close one signal comes to another. The measures know nothing of the codec: they compare any
// two signals of 8000 Hz at the scale of 16 bits, sample against sample, over whole frames of 20 ms
// as far as both reach.
#ifndef KELP_TOOLS_QUALITY_QUALITY_H
#define KELP_TOOLS_QUALITY_QUALITY_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>
#include <vector>

namespace kelp::quality {

inline constexpr size_t kFrame = 160;

// Samples of either kind, borrowed; silent beyond their end.
class signal {
 public:
  signal(std::span<const double> samples) : wide_(samples) {}
  signal(std::span<const int16_t> samples) : narrow_(samples) {}
  signal(const std::vector<double> &samples) : wide_(samples) {}
  signal(const std::vector<int16_t> &samples) : narrow_(samples) {}

  [[nodiscard]] size_t frames() const { return size() / kFrame; }
  [[nodiscard]] size_t size() const { return wide_.size() + narrow_.size(); }
  double operator[](size_t n) const {
    return n < wide_.size() ? wide_[n] : n < narrow_.size() ? narrow_[n] : 0.0;
  }

 private:
  std::span<const double> wide_;
  std::span<const int16_t> narrow_;
};

// Power in dB below that of a square wave at full scale, never less than -150.
double level_dbov(signal samples);

// Which frames hold speech: those at most 32 dB below the 95th percentile of the signal's frames.
// In the rest, the pauses, measures only tell how one noise differs from another.
std::vector<bool> active_frames(signal samples);

// Power spectra under a Hann window of 256 samples from sample `begin` on, silent before the start:
// bins of 31.25 Hz from 0 to 4000 Hz. A sine at full scale has kFullScaleSine in its own.
inline constexpr size_t kWindow = 256;
inline constexpr size_t kBins = kWindow / 2 + 1;
inline constexpr double kFullScaleSine = 32768.0 * 32768 * (kWindow / 4.0) * (kWindow / 4.0);
using power_spectrum = std::array<double, kBins>;
std::pair<power_spectrum, power_spectrum> power_spectra(signal one, signal other,
                                                        std::ptrdiff_t begin);

// Signal-to-noise ratio of frame k in dB, held to -10 .. 35.
double frame_snr(signal reference, signal other, size_t k);

// Distance of the spectra of frame k in dB: the mean of two Hann windows of 256 samples, centred 40
// and 120 samples into the frame; of each the rms difference of the power spectra in dB over the
// bins from 100 to 3800 Hz. To every bin is added what white noise of -70 dBov would have there, so
// that nothing counts that a quiet line's noise would cover.
double frame_distance(signal reference, signal other, size_t k);

// A mean over the active frames of the reference; 0 where there are none.
struct score {
  double db = 0;
  size_t active = 0;
  size_t frames = 0;
};
score segmental_snr(signal reference, signal other);
score log_spectral_distance(signal reference, signal other);

}  // namespace kelp::quality

#endif  // KELP_TOOLS_QUALITY_QUALITY_H
