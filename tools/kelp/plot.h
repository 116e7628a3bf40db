// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// One picture of a stream: waveform, rates, pitch and spectrogram over the same time.
#ifndef KELP_TOOLS_KELP_PLOT_H
#define KELP_TOOLS_KELP_PLOT_H

#include <cstdint>
#include <string>
#include <vector>

#include "tools/kelp/inspection.h"
#include "tools/kelp/rates.h"

// What is drawn: one or more frames.
struct PlotSource {
  std::string title;
  std::vector<FrameFacts> frames;
  std::vector<int16_t> speech;  // decoded, 160 samples a frame
  RateTally tally;
};

// The picture alone, and in a page that tells the values under the pointer. Light or dark as the
// viewer prefers; neither needs anything from elsewhere.
[[nodiscard]] std::string draw_svg(const PlotSource &source);
[[nodiscard]] std::string draw_html(const PlotSource &source);

#endif  // KELP_TOOLS_KELP_PLOT_H
