// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "tools/kelp/progress_bar.h"

#include <algorithm>
#include <cmath>
#include <iostream>
#include <sys/ioctl.h>
#include <unistd.h>

#include "tools/kelp/console.h"
#include "tools/kelp/text.h"

namespace {

constexpr size_t kBar = 24;

// Columns of the terminal.
size_t terminal_width() {
  winsize size = {};
  const bool known = ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 1;
  return known ? size.ws_col : 80;
}

}  // namespace

ProgressBar::ProgressBar(bool wanted) : shown_(wanted && isatty(STDERR_FILENO) != 0) {}

void ProgressBar::draw(const BatchCount &count, double seconds_since_start) {
  if (!shown_) return;
  const double share =
      count.bytes == 0 ? 1
                       : static_cast<double>(count.bytes_done) / static_cast<double>(count.bytes);
  const auto filled = static_cast<size_t>(share * kBar);
  std::string line = "[" + std::string(filled, '#') + std::string(kBar - filled, '-') + "] " +
                     decimal(std::floor(100 * share), 0) + " %  " +
                     std::to_string(count.done + count.finished + count.failed) + "/" +
                     std::to_string(count.files) + " files";
  if (count.failed != 0) line += ", " + std::to_string(count.failed) + " failed";
  if (seconds_since_start > 0 && count.seconds > 0)
    line += "  " + decimal(count.seconds / seconds_since_start, 0) + " x real time";
  if (share > 0 && share < 1) {
    const double left = seconds_since_start * (1 - share) / share;
    line += "  " + duration_text(left) + " left";
  }
  line.resize(std::min(line.size(), terminal_width() - 1));
  std::cerr << kClearLine << line << std::flush;
  drawn_ = true;
}

void ProgressBar::clear() {
  if (drawn_) std::cerr << kClearLine << std::flush;
  drawn_ = false;
}
