// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// From a stream to speech.
#ifndef KELP_TOOLS_KELP_DECODE_H
#define KELP_TOOLS_KELP_DECODE_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/kelp/packet_loss.h"
#include "tools/kelp/progress.h"
#include "tools/kelp/rates.h"

struct DecodeOptions {
  std::string input;                 // "-" is standard input
  std::string output;                // "-" is standard output; .flac and .raw files by their names
  bool force = false;                // overwrite an existing output
  bool raw = false;                  // samples without a header, whatever the output's name
  bool trim = false;                 // drop the codec's delay at the start
  double start_s = 0;                // leave out so much of the speech ...
  std::optional<double> duration_s;  // ... and end after so much more
  bool keep_going = false;           // conceal damage instead of ending at it
  LossOptions loss;                  // packets to lose on purpose
};

// Frames that were not in the stream as they should be, by what they lacked.
struct Concealed {
  uint64_t erasures = 0;  // erasure packets
  uint64_t unusable = 0;  // packets that the decoder refuses
  uint64_t lost = 0;      // on purpose
  uint64_t damaged = 0;   // frames in place of damage
};

struct DecodeReport {
  RateTally tally;     // of the packets in the stream
  double seconds = 0;  // length of what was written
  Concealed concealed;
  std::vector<std::string> notes;  // what the user should know, each with the stream's name
};

// Decodes one stream. Throws a Failure when it cannot, and then leaves no output behind. Safe on
// several threads at once with different outputs; it prints nothing.
DecodeReport decode_stream(const DecodeOptions &options, const Progress &progress = {});

#endif  // KELP_TOOLS_KELP_DECODE_H
