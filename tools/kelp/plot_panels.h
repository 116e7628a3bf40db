// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// The picture and its four panels, as SVG. Lengths are in the picture's own units.
#ifndef KELP_TOOLS_KELP_PLOT_PANELS_H
#define KELP_TOOLS_KELP_PLOT_PANELS_H

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "tools/kelp/plot.h"
#include "tools/kelp/spectrogram.h"

// Where every panel's time runs.
struct TimeSpan {
  double left, width;
  double seconds;
  [[nodiscard]] double x(double time) const { return left + width * time / seconds; }
};

// What the rate and pitch panels draw at one place: a frame, or several of a long stream.
struct PlotColumn {
  uint64_t frames = 0;
  std::array<uint64_t, kRates.size()> packets{};  // by place in kRates
  uint64_t unusable = 0;
  double pitch_hz = 0;  // 0: not voiced
  double level_dbov = 0;

  [[nodiscard]] double kbit(size_t rate) const;  // what this rate adds to the bit rate
  [[nodiscard]] size_t main_rate() const;        // that of most packets; unusable ones are erased
  bool operator==(const PlotColumn &) const = default;
};

// Of so many frames each that there are at most 4000.
struct PlotColumns {
  size_t frames;  // of each, but perhaps the last
  std::vector<PlotColumn> columns;

  [[nodiscard]] double seconds() const { return static_cast<double>(frames) * kFrameSeconds; }
};
[[nodiscard]] PlotColumns plot_columns(const PlotSource &source);

// Each draws a panel from `top` on, its heading included.
constexpr double kHeading = 26;
[[nodiscard]] std::string waveform_panel(const PlotSource &source, const PlotColumns &columns,
                                         const TimeSpan &time, double top, double height);
[[nodiscard]] std::string rate_panel(const PlotSource &source, const PlotColumns &columns,
                                     const TimeSpan &time, double top, double height);
[[nodiscard]] std::string pitch_panel(const PlotColumns &columns, const TimeSpan &time, double top,
                                      double height);
[[nodiscard]] std::string spectrogram_panel(const Spectrogram &picture, const TimeSpan &time,
                                            double top, double height);

// The whole picture, and where its time runs.
struct Picture {
  std::string svg;
  PlotColumns columns;
  TimeSpan time;
  double top, bottom;  // of the panels
};
[[nodiscard]] Picture draw_picture(const PlotSource &source);

#endif  // KELP_TOOLS_KELP_PLOT_PANELS_H
