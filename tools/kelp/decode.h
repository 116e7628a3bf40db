// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// From a stream to speech.
#ifndef KELP_TOOLS_KELP_DECODE_H
#define KELP_TOOLS_KELP_DECODE_H

#include <string>
#include <vector>

#include "tools/kelp/progress.h"
#include "tools/kelp/rates.h"

struct DecodeOptions {
  std::string input;   // "-" is standard input
  std::string output;  // "-" is standard output
  bool force = false;  // overwrite an existing output
  bool trim = false;   // drop the codec's delay at the start
};

struct DecodeReport {
  RateTally tally;                 // of the packets in the stream
  double seconds = 0;              // length of what was written
  std::vector<std::string> notes;  // what the user should know, a clause or two each
};

// Decodes one stream. Throws a Failure when it cannot, and then leaves no output behind. Safe on
// several threads at once with different outputs; it prints nothing.
DecodeReport decode_stream(const DecodeOptions &options, const Progress &progress = {});

#endif  // KELP_TOOLS_KELP_DECODE_H
