// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
#ifndef KELP_TOOLS_KELP_PROGRESS_H
#define KELP_TOOLS_KELP_PROGRESS_H

#include <chrono>
#include <functional>
#include <string>

#include "tools/kelp/console.h"

// Called after every frame, on the thread that works: the seconds of audio done, and which part of
// the whole that is (below 0 where nobody knows how long the whole is). May be empty.
using Progress = std::function<void(double seconds, double part)>;

// A line on a terminal about a job that takes long: "speech.wav: 42 %, 12:34 min done, 3100 times
// real time". Nothing elsewhere, and nothing for jobs of less than a second.
class ProgressLine {
 public:
  ProgressLine(const Console &console, std::string name);
  ~ProgressLine();
  ProgressLine(const ProgressLine &) = delete;
  ProgressLine &operator=(const ProgressLine &) = delete;

  [[nodiscard]] Progress callback();

 private:
  using Clock = std::chrono::steady_clock;

  void update(double seconds, double part);

  std::string name_;
  bool wanted_;
  bool shown_ = false;
  Clock::time_point start_ = Clock::now();
  Clock::time_point next_ = start_ + std::chrono::seconds(1);
};

#endif  // KELP_TOOLS_KELP_PROGRESS_H
