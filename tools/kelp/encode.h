// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// From a recording to a stream.
#ifndef KELP_TOOLS_KELP_ENCODE_H
#define KELP_TOOLS_KELP_ENCODE_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/kelp/progress.h"
#include "tools/kelp/rates.h"
#include "tools/kelp/recording_reader.h"

struct EncodeOptions {
  std::string input;   // "-" is standard input
  std::string output;  // "-" is standard output
  bool force = false;  // overwrite an existing output
  RecordingFormat format;
  std::optional<double> gain_db = 0.0;  // none: what brings active speech to the best level
  bool fill_band = false;               // add faint noise above 3.2 kHz
};

struct EncodeReport {
  RateTally tally;                 // of the packets written
  double seconds = 0;              // length of the recording
  uint64_t unusable = 0;           // packets that decoders refuse and conceal
  std::vector<std::string> notes;  // what the user should know, each with the recording's name
};

// Encodes one recording. Throws a Failure when it cannot, and then leaves no output behind. Safe on
// several threads at once with different outputs; it prints nothing.
EncodeReport encode_recording(const EncodeOptions &options, const Progress &progress = {});

#endif  // KELP_TOOLS_KELP_ENCODE_H
