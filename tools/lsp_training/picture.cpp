// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// Draws the library's five codebooks over the speech that they are asked to quantize.
//
//   lsp_picture LIST OUTPUT.svg
//
// For each split: how often frames ask for a pair of steps (shading), and the rows (dots; rings for
// those that training may not move).

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <sstream>
#include <vector>

#include "codebooks.h"
#include "measure.h"

using namespace kelp::training;

namespace {

constexpr int kPanel = 300;  // pixels, without its margins
constexpr int kLeft = 58;
constexpr int kTop = 40;
constexpr int kPitchX = kPanel + 84;
constexpr int kPitchY = kPanel + 104;
constexpr size_t kCells = 60;  // a side
constexpr int kCell = kPanel / static_cast<int>(kCells);
constexpr size_t kShades = 6;
constexpr double kHertz = 4000.0 / 32768;

// Both axes of a panel end here, Hz.
constexpr std::array<int, kSplits> kEnd_hz = {1000, 1400, 1400, 1250, 1250};

struct panel {
  size_t split;
  int x0, y0;  // of its plot's upper left corner
  double x(double hz) const { return x0 + kPanel * hz / kEnd_hz[split]; }
  double y(double hz) const { return y0 + kPanel * (1 - hz / kEnd_hz[split]); }
};

using density = std::vector<size_t>;  // kCells x kCells, first step fastest

// The steps that the frames ask of a split, from where the splits before it left them.
density count_targets(const std::vector<speech_frame> &frames, const codebooks &books,
                      size_t split) {
  density cells(kCells * kCells);
  for (const speech_frame &frame : frames) {
    index_vector index;
    const auto quantized = books.quantize(frame, &index);
    const double below = split == 0 ? 0 : quantized[2 * split - 1];
    const double first = (frame.exact[2 * split] - below) * kHertz;
    const double second = (frame.exact[2 * split + 1] - frame.exact[2 * split]) * kHertz;
    const double column = first / kEnd_hz[split] * kCells;
    const double line = second / kEnd_hz[split] * kCells;
    if (column < 0 || column >= kCells || line < 0 || line >= kCells) continue;
    cells[static_cast<size_t>(line) * kCells + static_cast<size_t>(column)]++;
  }
  return cells;
}

// The shade of a cell, kShades where it is left blank. Each stands for four times as many frames as
// the one below it.
size_t shade_of(size_t frames, size_t most) {
  if (frames == 0) return kShades;
  const double below_most = std::log2(static_cast<double>(most) / static_cast<double>(frames));
  const auto shade = static_cast<size_t>(below_most / 2);
  return shade < kShades ? kShades - 1 - shade : kShades;
}

// One path a shade, one rectangle for neighbours in a line.
std::string shading(const panel &p, const density &cells) {
  const size_t most = *std::max_element(cells.begin(), cells.end());
  std::array<std::ostringstream, kShades + 1> paths;
  for (size_t line = 0; line < kCells; line++) {
    const int y = p.y0 + kPanel - kCell * static_cast<int>(line + 1);
    const size_t *const cell = &cells[line * kCells];
    for (size_t from = 0, to = 0; from < kCells; from = to) {
      const size_t shade = shade_of(cell[from], most);
      while (to < kCells && shade_of(cell[to], most) == shade) to++;
      const int width = kCell * static_cast<int>(to - from);
      paths[shade] << 'M' << p.x0 + kCell * static_cast<int>(from) << ' ' << y << 'h' << width
                   << 'v' << kCell << "h-" << width << 'z';
    }
  }
  std::ostringstream svg;
  for (size_t s = 0; s < kShades; s++) {
    svg << "<path class='s' fill-opacity='" << 0.07 + 0.12 * static_cast<double>(s) << "' d='"
        << paths[s].str() << "'/>\n";
  }
  return svg.str();
}

std::string axes(const panel &p) {
  std::ostringstream svg;
  svg << "<rect class='a' x='" << p.x0 << "' y='" << p.y0 << "' width='" << kPanel << "' height='"
      << kPanel << "'/>\n";
  for (int hz = 0; hz <= kEnd_hz[p.split]; hz += 250) {
    svg << "<path class='a' d='M" << p.x(hz) << ' ' << p.y0 + kPanel << "v5M" << p.x0 << ' '
        << p.y(hz) << "h-5'/>\n<text class='n' x='" << p.x(hz) << "' y='" << p.y0 + kPanel + 17
        << "'>" << hz << "</text><text class='e' x='" << p.x0 - 8 << "' y='" << p.y(hz) + 4 << "'>"
        << hz << "</text>\n";
  }
  const size_t lsp = 2 * p.split + 1;
  std::ostringstream from;
  if (lsp > 1) from << " - quantized LSP " << lsp - 1;
  svg << "<text class='t' x='" << p.x0 << "' y='" << p.y0 - 10 << "'>LSP " << lsp << " and "
      << lsp + 1 << ": " << codebooks::size(p.split) << " rows</text>\n<text class='n' x='"
      << p.x0 + kPanel / 2 << "' y='" << p.y0 + kPanel + 36 << "'>LSP " << lsp << from.str()
      << ", Hz</text>\n<text class='n' transform='translate(" << p.x0 - 44 << ' '
      << p.y0 + kPanel / 2 << ") rotate(-90)'>LSP " << lsp + 1 << " - LSP " << lsp
      << ", Hz</text>\n";
  return svg.str();
}

std::string dots(const panel &p, const codebooks &books) {
  std::ostringstream svg;
  for (size_t r = 0; r < codebooks::size(p.split); r++) {
    const kelp_lsp_pair &row = books.row(p.split, r);
    const double x = p.x(row.first * kHertz);
    const double y = p.y(row.second * kHertz);
    if (x > p.x0 + kPanel || y < p.y0) continue;
    svg << "<circle class='" << (codebooks::is_fixed(p.split, r) ? 'f' : 'r') << "' cx='" << x
        << "' cy='" << y << "' r='3'><title>row " << r << ": " << row.first << ", " << row.second
        << "</title></circle>\n";
  }
  return svg.str();
}

std::string legend() {
  std::ostringstream svg;
  const int x = kLeft + 2 * kPitchX;
  const int y = kTop + kPitchY + 20;
  svg << "<circle class='r' cx='" << x + 8 << "' cy='" << y << "' r='3'/><text x='" << x + 26
      << "' y='" << y + 4 << "'>trained row</text>\n<circle class='f' cx='" << x + 8 << "' cy='"
      << y + 26 << "' r='3'/><text x='" << x + 26 << "' y='" << y + 30 << "'>fixed row</text>\n";
  for (size_t s = 0; s < kShades; s++) {
    svg << "<rect class='s' fill-opacity='" << 0.07 + 0.12 * static_cast<double>(s) << "' x='"
        << x + 22 * static_cast<int>(s) << "' y='" << y + 48 << "' width='22' height='14'/>\n";
  }
  svg << "<text x='" << x << "' y='" << y + 80
      << "'>frames that ask for this step,</text>\n<text x='" << x << "' y='" << y + 98
      << "'>each shade four times the last</text>\n";
  return svg.str();
}

std::string draw(const std::vector<speech_frame> &frames, const codebooks &books) {
  std::ostringstream svg;
  svg.precision(5);
  svg << "<svg xmlns='http://www.w3.org/2000/svg' viewBox='0 0 " << 3 * kPitchX + 10 << ' '
      << 2 * kPitchY + 20
      << "' font-family='sans-serif' font-size='12'>\n<title>The five LSP codebooks over the "
         "training speech</title>\n<style>\n"
         "svg{background:#fff}text{fill:#222}.t{font-weight:bold}.n{text-anchor:middle}"
         ".e{text-anchor:end}.a{fill:none;stroke:#888}.s{fill:#1769aa}.r{fill:#d1420a}"
         ".f{fill:none;stroke:#d1420a;stroke-width:1.5}\n"
         "@media(prefers-color-scheme:dark){svg{background:#16191d}text{fill:#ddd}"
         ".s{fill:#5aa9e6}.r{fill:#ffb454}.f{stroke:#ffb454}}\n</style>\n";
  for (size_t split = 0; split < kSplits; split++) {
    const panel p = {split, kLeft + kPitchX * static_cast<int>(split % 3),
                     kTop + kPitchY * static_cast<int>(split / 3)};
    svg << shading(p, count_targets(frames, books, split)) << axes(p) << dots(p, books);
  }
  svg << legend() << "</svg>\n";
  return svg.str();
}

}  // namespace

int main(int argc, char **argv) {
  if (argc != 3) {
    std::cerr << "usage: lsp_picture LIST OUTPUT.svg\n";
    return 2;
  }
  const std::vector<speech_frame> frames = active_frames(argv[1]);
  if (frames.empty()) {
    std::cerr << argv[1] << ": names no recording with active speech\n";
    return 1;
  }
  std::ofstream out(argv[2]);
  out << draw(frames, codebooks());
  if (!out.flush()) {
    std::cerr << argv[2] << ": cannot be written; check the folder and its space\n";
    return 1;
  }
  return 0;
}
