// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// How close one recording comes to another, such as decoded speech to the original.
#ifndef KELP_TOOLS_KELP_COMPARE_H
#define KELP_TOOLS_KELP_COMPARE_H

#include <cstddef>
#include <string>
#include <vector>

#include "tools/quality/quality.h"

struct ComparedRecording {
  double seconds = 0;
  double level_dbov = 0;  // of active speech
};

struct Comparison {
  ComparedRecording reference;
  ComparedRecording other;
  std::ptrdiff_t delay = 0;  // samples of 8000 Hz by which the other lags the reference
  double correlation = 0;    // of the two when they are in step, -1 to 1
  kelp::quality::score snr;
  kelp::quality::score distance;
  std::vector<std::string> notes;
};

struct CompareOptions {
  std::string reference;  // "-" is standard input
  std::string other;
  bool high_pass = false;  // the reference goes through a filter like the encoder's first
};

// Reads both recordings whole, brings them in step and compares where both are. Throws a Failure
// when there is nothing to compare. Safe on several threads at once; it prints nothing.
Comparison compare_recordings(const CompareOptions &options);

#endif  // KELP_TOOLS_KELP_COMPARE_H
