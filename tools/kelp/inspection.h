// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// What packets say of the speech in them, without decoding it.
#ifndef KELP_TOOLS_KELP_INSPECTION_H
#define KELP_TOOLS_KELP_INSPECTION_H

#include <cstdint>
#include <span>
#include <vector>

#include "tools/kelp/packet_file.h"

struct FrameFacts {
  uint64_t offset = 0;  // of the packet in its stream, bytes
  uint8_t rate = 0;
  bool usable = true;    // false: a decoder refuses its check bits or line spectral pairs
  float pitch_hz = 0;    // 0 where the frame is not voiced
  float pitch_gain = 0;  // mean of its four subframes; 0 at rates without pitch

  [[nodiscard]] bool voiced() const { return pitch_hz > 0; }
};

// A frame counts as voiced when three of its four pitch subframes have a gain of at least a half
// and lags that agree on one period to 5 %. A lag may be twice or three times that period, which
// serves the encoder as well; of several periods the one that most lags agree on is taken, and then
// the longest.
[[nodiscard]] FrameFacts inspect(const Packet &packet, uint64_t offset);

// The range of the pitch of voiced frames, by its 5th, 50th and 95th percentile; zeros when no
// frame is voiced.
struct PitchRange {
  double low_hz = 0, median_hz = 0, high_hz = 0;
};
[[nodiscard]] PitchRange pitch_range(std::span<const FrameFacts> frames);

// The median of one or more values; of two in the middle the higher.
[[nodiscard]] double middle(std::vector<double> values);

#endif  // KELP_TOOLS_KELP_INSPECTION_H
