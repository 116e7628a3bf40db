// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "tools/kelp/inspection.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "tools/kelp/packet_check.h"

namespace {

constexpr size_t kSubframes = 4;
constexpr double kLeastLag = 17;  // samples
constexpr double kLeastGain = 0.5;
constexpr double kTolerance = 0.05;
constexpr int kMostMultiple = 3;
constexpr size_t kEnoughSubframes = 3;

struct Pitch {
  double lag = 0;  // samples; 0 where there is no pitch
  double gain = 0;

  [[nodiscard]] bool strong() const { return lag > 0 && gain >= kLeastGain; }
};
using FramePitch = std::array<Pitch, kSubframes>;

Pitch read_pitch(const kelp::payload_codes &codes, size_t k) {
  const uint32_t lag = codes.pitch_lag[k];
  const uint32_t gain = codes.pitch_gain[k];
  if (lag == 0 && gain == 0) return {};
  const double half = codes.pitch_frac[k] == 1 ? 0.5 : 0;
  return {lag == 0 ? 143 : lag + 16 + half, 0.25 * (gain + 1)};
}

// What the strong lags that fit `period` make of it.
std::vector<double> periods_near(double period, const FramePitch &pitch) {
  std::vector<double> near;
  for (const Pitch &one : pitch) {
    if (!one.strong()) continue;
    const double multiple = std::max(1.0, std::round(one.lag / period));
    const double made = one.lag / multiple;
    if (multiple <= kMostMultiple && std::abs(made - period) <= kTolerance * period)
      near.push_back(made);
  }
  return near;
}

// Samples; 0 where too few subframes agree on one.
double common_period(const FramePitch &pitch) {
  double longest = 0;
  std::vector<double> best;
  for (const Pitch &one : pitch) {
    if (!one.strong()) continue;
    for (int divisor = 1; divisor <= kMostMultiple; divisor++) {
      const double period = one.lag / divisor;
      if (period < kLeastLag) break;
      std::vector<double> near = periods_near(period, pitch);
      if (near.size() < std::max(best.size(), kEnoughSubframes)) continue;
      if (near.size() == best.size() && period <= longest) continue;
      longest = period;
      best = std::move(near);
    }
  }
  return best.empty() ? 0 : middle(best);
}

}  // namespace

FrameFacts inspect(const Packet &packet, uint64_t offset) {
  FrameFacts facts;
  facts.offset = offset;
  facts.rate = packet.rate();
  if (facts.rate == KELP_RATE_ERASURE) return facts;

  kelp::kelpd_frame_params params;
  facts.usable = unpack_packet(packet, &params);
  if (!facts.usable || facts.rate < KELP_RATE_HALF) return facts;

  FramePitch pitch;
  double gains = 0;
  for (size_t k = 0; k < kSubframes; k++) {
    pitch[k] = read_pitch(params.codes, k);
    gains += pitch[k].gain;
  }
  facts.pitch_gain = static_cast<float>(gains / kSubframes);
  const double period = common_period(pitch);
  if (period > 0) facts.pitch_hz = static_cast<float>(double{KELP_SAMPLE_RATE_HZ} / period);
  return facts;
}

PitchRange pitch_range(std::span<const FrameFacts> frames) {
  std::vector<double> pitch;
  for (const FrameFacts &frame : frames) {
    if (frame.voiced()) pitch.push_back(frame.pitch_hz);
  }
  if (pitch.empty()) return {};
  std::sort(pitch.begin(), pitch.end());
  const auto percentile = [&](size_t percent) { return pitch[(pitch.size() - 1) * percent / 100]; };
  return {percentile(5), percentile(50), percentile(95)};
}

double middle(std::vector<double> values) {
  const auto half = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), half, values.end());
  return *half;
}
