// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "tools/kelp/plot_panels.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <string_view>
#include <utility>

#include "tools/kelp/text.h"
#include "tools/quality/quality.h"

namespace {

constexpr size_t kMostColumns = 4000;
constexpr double kFullScale = 32768;

// Coordinates to a tenth are finer than any screen.
std::string at(double value) {
  std::string text = decimal(value, 1);
  if (text.ends_with(".0")) text.resize(text.size() - 2);
  return text;
}

std::string text_at(std::string_view classes, double x, double y, const std::string &text) {
  return "<text class='" + std::string(classes) + "' x='" + at(x) + "' y='" + at(y) + "'>" + text +
         "</text>\n";
}

// The plot of a panel, below its heading.
class Frame {
 public:
  Frame(const TimeSpan &time, double top, double height)
      : time_(time), top_(top + kHeading), height_(height - kHeading) {}

  // From 0 at the bottom to 1 at the top.
  [[nodiscard]] double y(double share) const { return top_ + height_ * (1 - share); }
  [[nodiscard]] double bottom() const { return top_ + height_; }

  [[nodiscard]] std::string heading(const std::string &text) const {
    return text_at("h", time_.left, top_ - 9, text);
  }
  [[nodiscard]] std::string background() const {
    return "<rect class='p' x='" + at(time_.left) + "' y='" + at(top_) + "' width='" +
           at(time_.width) + "' height='" + at(height_) + "'/>\n";
  }
  // A line across and its value at the left.
  [[nodiscard]] std::string level(double share, const std::string &value) const {
    return "<path class='g' d='M" + at(time_.left) + ' ' + at(y(share)) + "h" + at(time_.width) +
           "'/>\n" + text_at("e", time_.left - 8, y(share) + 4, value);
  }

 private:
  const TimeSpan &time_;
  double top_, height_;
};

// A step of 1, 2 or 5 times a power of ten that cuts `range` in about `parts`.
double round_step(double range, double parts) {
  const double rough = range / parts;
  const double power = std::pow(10, std::floor(std::log10(rough)));
  for (const double step : {1.0, 2.0, 5.0}) {
    if (step * power >= rough) return step * power;
  }
  return 10 * power;
}

// With a minus as long as a plus.
std::string signed_number(double value, int decimals) {
  std::string text = decimal(std::abs(value), decimals);
  const bool zero = text.find_first_not_of("0.") == std::string::npos;
  return value < 0 && !zero ? "\xE2\x88\x92" + text : text;
}

size_t rate_place(uint8_t code) {
  size_t place = 0;
  while (kRates[place].code != code) place++;
  return place;
}

// One path a rate, in its colour.
std::string rate_paths(const std::string &kind,
                       const std::array<std::string, kRates.size()> &paths) {
  std::string svg;
  for (size_t rate = 0; rate < paths.size(); rate++) {
    if (!paths[rate].empty())
      svg += "<path class='" + kind + ' ' + kRates[rate].name + "' d='" + paths[rate] + "'/>\n";
  }
  return svg;
}

std::string kbit_text(const Rate &rate) {
  return decimal(rate.net_bits / (1000 * kFrameSeconds), 1);
}

// How far the samples of one point of the waveform go, and their rate by its place in kRates.
struct Reach {
  int low, high;
  size_t rate;
};

// An outline for every run of points at one rate; it ends where the next begins.
template <typename Place>
std::string outlines(const std::vector<Reach> &reaches, Place place) {
  std::array<std::string, kRates.size()> paths;
  for (size_t first = 0; first < reaches.size();) {
    size_t last = first;
    while (last + 1 < reaches.size() && reaches[last].rate == reaches[first].rate) last++;
    std::string &path = paths[reaches[first].rate];
    path += 'M' + place(first, reaches[first].high);
    for (size_t i = first + 1; i <= last; i++) path += 'L' + place(i, reaches[i].high);
    for (size_t i = last + 1; i > first; i--) path += 'L' + place(i - 1, reaches[i - 1].low);
    path += 'z';
    first = std::max(last, first + 1);
  }
  return rate_paths("w", paths);
}

// From the right; every entry is as wide as its letters are taken to be.
std::string rate_legend(const PlotSource &source, const TimeSpan &time, double top) {
  std::string svg;
  double left = time.left + time.width;
  const auto entry = [&](const char *name, const std::string &text) {
    left -= 6.1 * static_cast<double>(text.size()) + 34;
    svg += std::string("<rect class='") + name + "' x='" + at(left) + "' y='" +
           at(top + kHeading - 19) + "' width='12' height='12' rx='2'/>\n" +
           text_at("l", left + 18, top + kHeading - 9, text);
  };
  const auto percent = [](double share) { return decimal(100 * share, 1) + " %"; };
  uint64_t concealed = source.tally.count(KELP_RATE_ERASURE);
  for (const FrameFacts &one : source.frames) concealed += one.usable ? 0 : 1;
  if (concealed != 0) {
    const auto share = static_cast<double>(concealed) / static_cast<double>(source.frames.size());
    entry("erasure", "erased or unusable: " + percent(share));
  }
  for (size_t rate = kRates.size(); rate-- > 0;) {
    const uint64_t packets = source.tally.count(kRates[rate].code);
    if (packets == 0 || kRates[rate].code == KELP_RATE_ERASURE) continue;
    entry(kRates[rate].name, std::string(kRates[rate].name) + " " + kbit_text(kRates[rate]) +
                                 " kbit/s: " + percent(source.tally.share(kRates[rate].code)));
  }
  return svg;
}

}  // namespace

double PlotColumn::kbit(size_t rate) const {
  return static_cast<double>(packets[rate]) * kRates[rate].net_bits /
         (1000 * kFrameSeconds * static_cast<double>(frames));
}

size_t PlotColumn::main_rate() const {
  if (2 * unusable > frames) return rate_place(KELP_RATE_ERASURE);
  return static_cast<size_t>(std::max_element(packets.begin(), packets.end()) - packets.begin());
}

PlotColumns plot_columns(const PlotSource &source) {
  const size_t count = source.frames.size();
  const size_t each = (count + kMostColumns - 1) / kMostColumns;
  PlotColumns result = {each, {}};
  for (size_t first = 0; first < count; first += each) {
    PlotColumn column;
    column.frames = std::min(each, count - first);
    std::vector<double> pitch;
    for (size_t k = first; k < first + column.frames; k++) {
      const FrameFacts &frame = source.frames[k];
      column.packets[rate_place(frame.rate)]++;
      if (!frame.usable) column.unusable++;
      if (frame.voiced()) pitch.push_back(frame.pitch_hz);
    }
    if (2 * pitch.size() >= column.frames) column.pitch_hz = middle(std::move(pitch));
    const std::span<const int16_t> speech(source.speech);
    column.level_dbov = kelp::quality::level_dbov(
        speech.subspan(first * KELP_FRAME_SAMPLES, column.frames * KELP_FRAME_SAMPLES));
    result.columns.push_back(column);
  }
  return result;
}

std::string waveform_panel(const PlotSource &source, const PlotColumns &columns,
                           const TimeSpan &time, double top, double height) {
  const std::vector<int16_t> &speech = source.speech;
  const size_t points = std::min(speech.size(), static_cast<size_t>(2 * time.width));
  std::vector<Reach> reaches;
  int peak = 1;
  for (size_t i = 0; i < points; i++) {
    const size_t first = speech.size() * i / points;
    const size_t last = speech.size() * (i + 1) / points;
    const auto [low, high] =
        std::minmax_element(speech.begin() + static_cast<std::ptrdiff_t>(first),
                            speech.begin() + static_cast<std::ptrdiff_t>(last));
    const size_t column = first / (KELP_FRAME_SAMPLES * columns.frames);
    reaches.push_back({*low, *high, columns.columns[column].main_rate()});
    peak = std::max({peak, -*low, +*high});
  }

  const Frame frame(time, top, height);
  std::string svg =
      frame.background() + frame.heading("Waveform <tspan class='u'>% of full scale</tspan>");
  const double edge = 1.05 * peak / kFullScale * 100;  // of the panel, %
  const double step = round_step(edge, 2);
  const int decimals = std::max(0, static_cast<int>(std::ceil(-std::log10(step))));
  const auto steps = static_cast<int>(edge / step);
  for (int i = -steps; i <= steps; i++)
    svg += frame.level((i * step / edge + 1) / 2, signed_number(i * step, decimals));

  const auto place = [&](size_t i, int sample) {
    const double seconds =
        (static_cast<double>(i) + 0.5) / static_cast<double>(points) * time.seconds;
    return at(time.x(seconds)) + ' ' + at(frame.y((sample / (1.05 * peak) + 1) / 2));
  };
  return svg + outlines(reaches, place);
}

std::string rate_panel(const PlotSource &source, const PlotColumns &columns, const TimeSpan &time,
                       double top, double height) {
  constexpr double kTop_kbit = 15;
  const Frame frame(time, top, height);
  std::string svg =
      frame.background() + frame.heading("Rate <tspan class='u'>net bit rate, kbit/s</tspan>");
  for (const int level : {0, 5, 10}) svg += frame.level(level / kTop_kbit, std::to_string(level));

  std::array<std::string, kRates.size()> paths;
  std::string marks;
  const std::vector<PlotColumn> &all = columns.columns;
  for (size_t first = 0, last = 0; first < all.size(); first = last) {
    const auto same = [&](size_t i) {
      return all[i].packets == all[first].packets && all[i].unusable == all[first].unusable;
    };
    while (last < all.size() && same(last)) last++;
    const double x = time.x(static_cast<double>(first) * columns.seconds());
    const double end =
        time.x(std::min(static_cast<double>(last) * columns.seconds(), time.seconds));
    double below = 0;
    // The lowest rate at the bottom.
    for (size_t rate = kRates.size(); rate-- > 0;) {
      const double kbit = all[first].kbit(rate);
      if (kbit == 0) continue;
      paths[rate] += 'M' + at(x) + ' ' + at(frame.y(below / kTop_kbit)) + 'H' + at(end) + 'V' +
                     at(frame.y((below + kbit) / kTop_kbit)) + 'H' + at(x) + 'z';
      below += kbit;
    }
    const bool lost = all[first].unusable + all[first].packets[rate_place(KELP_RATE_ERASURE)] != 0;
    if (!lost) continue;
    const double seen = std::max(end, x + 1);
    marks += 'M' + at(x) + ' ' + at(frame.y(1)) + 'H' + at(seen) + "v8H" + at(x) + 'z';
  }
  svg += rate_paths("r", paths);
  if (!marks.empty()) svg += "<path class='erasure' d='" + marks + "'/>\n";

  return svg + rate_legend(source, time, top);
}

std::string pitch_panel(const PlotColumns &columns, const TimeSpan &time, double top,
                        double height) {
  constexpr double kLowest_hz = 50;
  constexpr double kHighest_hz = 500;
  constexpr double kJump = 1.2;  // between neighbours, beyond which they are not joined
  const auto share = [](double hz) {
    return std::log(hz / kLowest_hz) / std::log(kHighest_hz / kLowest_hz);
  };
  const Frame frame(time, top, height);
  std::string svg =
      frame.background() + frame.heading("Pitch <tspan class='u'>Hz, of voiced frames</tspan>");
  for (const int hz : {50, 100, 200, 400}) svg += frame.level(share(hz), std::to_string(hz));

  // Single frames are often mistakes: they are drawn fainter, as dots, which are lines of no
  // length.
  const std::vector<PlotColumn> &all = columns.columns;
  const auto joined = [&](size_t i, size_t j) {  // to a neighbour; beyond the ends is none
    if (i >= all.size() || j >= all.size() || all[i].pitch_hz == 0) return false;
    const double ratio = all[j].pitch_hz / all[i].pitch_hz;
    return ratio < kJump && ratio > 1 / kJump;
  };
  std::string track, dots;
  for (size_t i = 0; i < all.size(); i++) {
    if (all[i].pitch_hz == 0) continue;
    const double seconds =
        std::min((static_cast<double>(i) + 0.5) * columns.seconds(), time.seconds);
    const std::string place = at(time.x(seconds)) + ' ' + at(frame.y(share(all[i].pitch_hz)));
    if (joined(i, i - 1)) {
      track += 'L' + place;
    } else if (joined(i, i + 1)) {
      track += 'M' + place;
    } else {
      dots += 'M' + place + "h0";
    }
  }
  return svg + "<path class='f o' d='" + dots + "'/>\n<path class='f' d='" + track + "'/>\n";
}

std::string spectrogram_panel(const Spectrogram &picture, const TimeSpan &time, double top,
                              double height) {
  const Frame frame(time, top, height);
  const std::string box = "width='" + at(time.width) + "' height='" + at(height - kHeading) + "'";
  std::string svg = frame.heading("Spectrogram <tspan class='u'>kHz</tspan>");
  svg += "<image class='s' x='" + at(time.left) + "' y='" + at(top + kHeading) + "' " + box +
         " preserveAspectRatio='none' href='data:image/png;base64," + base64(png_file(picture)) +
         "'/>\n";
  for (int khz = 0; khz <= 4; khz++) svg += frame.level(khz / 4.0, std::to_string(khz));

  // The shades, from the right.
  const double y = top + kHeading - 19;
  const double right = time.left + time.width;
  const int high = static_cast<int>(picture.top_db);
  const int low = high - static_cast<int>(Spectrogram::kRange_db);
  svg +=
      "<defs><linearGradient id='ramp'><stop offset='0' stop-color='#000'/>"
      "<stop offset='1' stop-color='#fff'/></linearGradient></defs>\n";
  svg += text_at("l", right - 60, y + 10, signed_number(high, 0) + " dBFS");
  svg += "<rect class='s' fill='url(#ramp)' x='" + at(right - 178) + "' y='" + at(y) +
         "' width='110' height='12'/>\n";
  svg += text_at("e l", right - 184, y + 10, signed_number(low, 0));
  return svg;
}
