// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// From a recording to a stream.
#ifndef KELP_TOOLS_KELP_ENCODE_H
#define KELP_TOOLS_KELP_ENCODE_H

#include <string>
#include <vector>

#include "tools/kelp/progress.h"
#include "tools/kelp/rates.h"

struct EncodeOptions {
  std::string input;   // "-" is standard input
  std::string output;  // "-" is standard output
  bool force = false;  // overwrite an existing output
};

struct EncodeReport {
  RateTally tally;                 // of the packets written
  double seconds = 0;              // length of the recording
  std::vector<std::string> notes;  // what the user should know, a clause or two each
};

// Encodes one recording. Throws a Failure when it cannot, and then leaves no output behind. Safe on
// several threads at once with different outputs; it prints nothing.
EncodeReport encode_recording(const EncodeOptions &options, const Progress &progress = {});

#endif  // KELP_TOOLS_KELP_ENCODE_H
