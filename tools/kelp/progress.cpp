// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "tools/kelp/progress.h"

#include <cmath>
#include <iostream>
#include <unistd.h>
#include <utility>

#include "tools/kelp/text.h"

ProgressLine::ProgressLine(const Console &console, std::string name)
    : name_(std::move(name)), wanted_(!console.quiet && isatty(STDERR_FILENO) != 0) {}

ProgressLine::~ProgressLine() {
  if (shown_) std::cerr << kClearLine;
}

Progress ProgressLine::callback() {
  if (!wanted_) return {};
  return [this](double seconds, double part) { update(seconds, part); };
}

void ProgressLine::update(double seconds, double part) {
  const Clock::time_point now = Clock::now();
  if (now < next_) return;
  next_ = now + std::chrono::milliseconds(200);
  const double taken = std::chrono::duration<double>(now - start_).count();
  std::cerr << kClearLine << name_ << ": ";
  if (part >= 0) std::cerr << decimal(std::floor(100 * part), 0) << " %, ";
  std::cerr << duration_text(seconds) << " done, " << decimal(seconds / taken, 0)
            << " times real time" << std::flush;
  shown_ = true;
}
