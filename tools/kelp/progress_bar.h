// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
#ifndef KELP_TOOLS_KELP_PROGRESS_BAR_H
#define KELP_TOOLS_KELP_PROGRESS_BAR_H

#include "tools/kelp/batch.h"

// The last line of a terminal on stderr: how far a batch is, how fast, and how long it will take.
// Nothing where stderr is no terminal.
class ProgressBar {
 public:
  explicit ProgressBar(bool wanted);

  void draw(const BatchCount &count, double seconds_since_start);
  void clear();  // before anything else is printed

 private:
  bool shown_;
  bool drawn_ = false;
};

#endif  // KELP_TOOLS_KELP_PROGRESS_BAR_H
