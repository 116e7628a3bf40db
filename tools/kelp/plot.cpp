// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "tools/kelp/plot.h"

#include <algorithm>
#include <cmath>

#include "tools/kelp/plot_panels.h"
#include "tools/kelp/text.h"

namespace {

constexpr double kWidth = 1200;
constexpr double kLeft = 52;
constexpr double kRight = 20;
constexpr double kTop = 66;
constexpr double kGap = 14;
constexpr double kPanelHeights[] = {156, 126, 146, 246};
constexpr double kTimeAxis = 52;

// Colours of text, panels and rates, light and then dark. The spectrogram is grey; a filter turns
// its shades into colours, so that one picture serves both.
constexpr const char *kStyle = R"(<style>
svg{font:13px system-ui,'Segoe UI',Roboto,'DejaVu Sans',sans-serif;background:#fff}.b{fill:#fff}
text{fill:#3d4550}.t{font-size:20px;font-weight:600;fill:#15191f}.h{font-weight:600;fill:#15191f}
.u,.m{fill:#6b7480;font-weight:400}.e,.n,.l{font-size:12px}.e{text-anchor:end}.n{text-anchor:middle}
.p{fill:#f5f7f9}.g{stroke:#000;stroke-opacity:.1}.f{fill:none;stroke:#c2255c;stroke-width:2.2;stroke-linecap:round;stroke-linejoin:round}
.o{opacity:.4}.w{stroke-width:.6;stroke-linejoin:round}.r{fill-opacity:.75}
.full{fill:#1f6feb;stroke:none}.half{fill:#e8890c}.quarter{fill:#8250df}.eighth{fill:#8d99a6}.erasure{fill:#d1242f}
.w.full{stroke:#1f6feb}.w.half{stroke:#e8890c}.w.quarter{stroke:#8250df}.w.eighth{stroke:#8d99a6}.w.erasure{stroke:#d1242f}
.s{filter:url(#light)}
@media(prefers-color-scheme:dark){
svg{background:#12161c}.b{fill:#12161c}text{fill:#b9c2cc}.t,.h{fill:#eef1f4}.u,.m{fill:#8b96a3}
.p{fill:#1a2028}.g{stroke:#fff;stroke-opacity:.12}.f{stroke:#ff6b9d}
.full{fill:#58a6ff}.half{fill:#ffb02e}.quarter{fill:#bc8cff}.eighth{fill:#6e7a87}.erasure{fill:#ff6b6b}
.w.full{stroke:#58a6ff}.w.half{stroke:#ffb02e}.w.quarter{stroke:#bc8cff}.w.eighth{stroke:#6e7a87}.w.erasure{stroke:#ff6b6b}
.s{filter:url(#dark)}}
</style>
<defs>
<filter id='light' color-interpolation-filters='sRGB' x='0' y='0' width='1' height='1'><feComponentTransfer>
<feFuncR type='table' tableValues='.961 .84 .63 .38 .24 .22 .13'/>
<feFuncG type='table' tableValues='.969 .91 .80 .62 .40 .19 .04'/>
<feFuncB type='table' tableValues='.976 .96 .90 .83 .69 .50 .26'/>
</feComponentTransfer></filter>
<filter id='dark' color-interpolation-filters='sRGB' x='0' y='0' width='1' height='1'><feComponentTransfer>
<feFuncR type='table' tableValues='.102 .16 .36 .65 .90 .99 .99'/>
<feFuncG type='table' tableValues='.125 .11 .12 .20 .39 .68 .96'/>
<feFuncB type='table' tableValues='.157 .33 .49 .47 .32 .24 .70'/>
</feComponentTransfer></filter>
</defs>
)";

// A time as the axis of a stream shows it: 12, 1:05 or 1:00:05, and 1.5 where steps are that small.
std::string axis_text(double seconds, double step, double total) {
  if (total <= 60) return decimal(seconds, step < 1 ? 1 : 0);
  return clock_text(seconds, total > 3600);
}

double time_step(double seconds) {
  constexpr double kMostSteps = 13;
  for (const double step : {0.1, 0.2, 0.5, 1.0, 2.0, 5.0, 10.0, 15.0, 30.0, 60.0, 120.0, 300.0,
                            600.0, 1200.0, 1800.0}) {
    if (seconds / step <= kMostSteps) return step;
  }
  return 3600 * std::ceil(seconds / 3600 / kMostSteps);
}

std::string time_axis(const TimeSpan &time, double top, double bottom) {
  const double step = time_step(time.seconds);
  std::string lines, values;
  for (int i = 0; i * step <= time.seconds; i++) {
    const std::string x = decimal(time.x(i * step), 1);
    lines += "M" + x + " " + decimal(top, 0) + "V" + decimal(bottom + 5, 0);
    values += "<text class='n' x='" + x + "' y='" + decimal(bottom + 20, 0) + "'>" +
              axis_text(i * step, step, time.seconds) + "</text>";
  }
  const char *const unit = time.seconds <= 60 ? "s" : time.seconds <= 3600 ? "min:s" : "h:min:s";
  return "<path class='g' d='" + lines + "'/>\n" + values + "\n<text class='n' x='" +
         decimal(time.left + time.width / 2, 0) + "' y='" + decimal(bottom + 40, 0) +
         "'>time, <tspan class='m'>" + unit + "</tspan></text>\n";
}

std::string subtitle(const PlotSource &source) {
  const RateTally &tally = source.tally;
  const double seconds = tally.seconds();
  std::string text = seconds < 60 ? decimal(seconds, 2) + " s" : duration_text(seconds);
  text += " \xC2\xB7 " + std::to_string(tally.packets()) + " packets \xC2\xB7 " +
          decimal(tally.net_kbit(), 2) + " kbit/s net, " + decimal(tally.packet_kbit(), 2) +
          " in packets";
  uint64_t voiced = 0;
  for (const FrameFacts &frame : source.frames) voiced += frame.voiced() ? 1 : 0;
  text += " \xC2\xB7 voiced " +
          decimal(100.0 * static_cast<double>(voiced) / static_cast<double>(tally.packets()), 1) +
          " %";
  const PitchRange pitch = pitch_range(source.frames);
  if (voiced != 0) {
    text +=
        " \xC2\xB7 pitch " + decimal(pitch.low_hz, 0) + " to " + decimal(pitch.high_hz, 0) + " Hz";
  }
  return text;
}

}  // namespace

Picture draw_picture(const PlotSource &source) {
  constexpr double kPictureColumns = 1600;
  constexpr double kFinest = 8;  // samples a column of the spectrogram
  const TimeSpan time = {kLeft, kWidth - kLeft - kRight,
                         static_cast<double>(source.frames.size()) * kFrameSeconds};
  const PlotColumns columns = plot_columns(source);
  const auto samples = static_cast<double>(source.speech.size());
  const Spectrogram spectrogram = make_spectrogram(
      source.speech, static_cast<size_t>(std::min(kPictureColumns, samples / kFinest)));

  double top = kTop;
  std::string panels = waveform_panel(source, columns, time, top, kPanelHeights[0]);
  top += kPanelHeights[0] + kGap;
  panels += rate_panel(source, columns, time, top, kPanelHeights[1]);
  top += kPanelHeights[1] + kGap;
  panels += pitch_panel(columns, time, top, kPanelHeights[2]);
  top += kPanelHeights[2] + kGap;
  panels += spectrogram_panel(spectrogram, time, top, kPanelHeights[3]);
  const double bottom = top + kPanelHeights[3];

  const std::string title = xml_text(source.title);
  const std::string height = decimal(bottom + kTimeAxis, 0);
  std::string svg = "<svg xmlns='http://www.w3.org/2000/svg' viewBox='0 0 " + decimal(kWidth, 0) +
                    " " + height + "' width='" + decimal(kWidth, 0) + "' height='" + height +
                    "' role='img'>\n<title>" + title + "</title>\n" + kStyle +
                    "<rect class='b' width='100%' height='100%'/>\n";
  svg += "<text class='t' x='" + decimal(kLeft, 0) + "' y='32'>" + title +
         "</text>\n<text class='m' x='" + decimal(kLeft, 0) + "' y='54'>" +
         xml_text(subtitle(source)) + "</text>\n";
  svg += panels + time_axis(time, kTop + kHeading, bottom);
  return {svg + "</svg>\n", columns, time, kTop + kHeading, bottom};
}

std::string draw_svg(const PlotSource &source) {
  return draw_picture(source).svg;
}
