// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// The picture in a page, with a line and a box that follow the pointer.

#include <string>

#include "tools/kelp/plot.h"
#include "tools/kelp/plot_panels.h"
#include "tools/kelp/text.h"

namespace {

constexpr const char *kPageStyle = R"(<style>
:root{color-scheme:light dark}
body{margin:0 auto;max-width:1600px;background:#fff}
svg{display:block;width:100%;height:auto}
#box{position:absolute;visibility:hidden;pointer-events:none;padding:6px 10px;border-radius:6px;
font:13px system-ui,sans-serif;white-space:pre;background:#15191fe6;color:#fff}
@media(prefers-color-scheme:dark){body{background:#12161c}#box{background:#eef1f4e6;color:#15191f}}
</style>
)";

// `d` holds what the columns show; lengths are those of the picture.
constexpr const char *kScript = R"(
const svg = document.querySelector('svg'), box = document.getElementById('box');
const line = document.createElementNS(svg.namespaceURI, 'path');
line.setAttribute('stroke', 'currentColor');
line.setAttribute('pointer-events', 'none');
svg.append(line);
const clock = s => s < 60 ? s.toFixed(2) + ' s'
  : (s >= 3600 ? Math.floor(s / 3600) + ':' : '') +
    String(Math.floor(s / 60) % 60).padStart(s >= 3600 ? 2 : 1, '0') + ':' +
    (s % 60).toFixed(2).padStart(5, '0');
function leave() {
  box.style.visibility = line.style.visibility = 'hidden';
}
svg.addEventListener('pointerleave', leave);
svg.addEventListener('pointermove', event => {
  const area = svg.getBoundingClientRect(), scale = area.width / svg.viewBox.baseVal.width;
  const x = (event.clientX - area.left) / scale, y = (event.clientY - area.top) / scale;
  const time = (x - d.left) / d.width * d.seconds;
  if (time < 0 || time >= d.seconds || y < d.top || y > d.bottom) return leave();
  const i = Math.min(Math.floor(time / d.step), d.rate.length - 1);
  box.textContent = clock(time) + '\n' + d.names[d.rate[i]] + ', ' + d.kbit[i] + ' kbit/s\n' +
    (d.pitch[i] ? 'pitch ' + d.pitch[i] + ' Hz' : 'not voiced') + '\nlevel ' + d.level[i] + ' dBov';
  line.setAttribute('d', 'M' + x + ' ' + d.top + 'V' + d.bottom);
  const right = event.pageX + box.offsetWidth + 24 > document.documentElement.clientWidth;
  box.style.left = event.pageX + (right ? -16 - box.offsetWidth : 16) + 'px';
  box.style.top = event.pageY + 16 + 'px';
  box.style.visibility = line.style.visibility = 'visible';
});
)";

// "NAME:[...]," of one value a column.
template <typename Value>
std::string list(const char *name, const PlotColumns &columns, Value value) {
  std::string text = std::string(name) + ":[";
  for (const PlotColumn &column : columns.columns) text += value(column) + ",";
  return text + "],\n";
}

std::string data(const Picture &picture) {
  const PlotColumns &columns = picture.columns;
  std::string text = "const d={left:" + decimal(picture.time.left, 0) +
                     ",width:" + decimal(picture.time.width, 0) +
                     ",seconds:" + decimal(picture.time.seconds, 2) +
                     ",step:" + decimal(columns.seconds(), 2) + ",top:" + decimal(picture.top, 0) +
                     ",bottom:" + decimal(picture.bottom, 0) + ",names:[";
  for (const Rate &rate : kRates) text += "'" + std::string(rate.name) + "',";
  text += "],\n";
  text += list("rate", columns, [](const PlotColumn &c) { return std::to_string(c.main_rate()); });
  text += list("kbit", columns, [](const PlotColumn &c) {
    double kbit = 0;
    for (size_t rate = 0; rate < kRates.size(); rate++) kbit += c.kbit(rate);
    return decimal(kbit, 1);
  });
  text += list("pitch", columns, [](const PlotColumn &c) { return decimal(c.pitch_hz, 0); });
  text += list("level", columns, [](const PlotColumn &c) { return decimal(c.level_dbov, 0); });
  return text + "};";
}

}  // namespace

std::string draw_html(const PlotSource &source) {
  const Picture picture = draw_picture(source);
  return "<!DOCTYPE html>\n<html lang='en'><head><meta charset='utf-8'>\n"
         "<meta name='viewport' content='width=device-width'>\n<title>" +
         xml_text(source.title) + "</title>\n" + kPageStyle + "</head>\n<body>\n" + picture.svg +
         "<div id='box'></div>\n<script>\n" + data(picture) + kScript +
         "</script>\n</body></html>\n";
}
