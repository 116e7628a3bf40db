// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
#ifndef KELP_TOOLS_KELP_COMMANDS_H
#define KELP_TOOLS_KELP_COMMANDS_H

#include <string>

struct Options {
  std::string input;
  std::string output;
  bool force = false;
  bool trim = false;
  bool quiet = false;
};

// Each does one command and throws Failure when it cannot.
void encode_recording(const Options &options);
void decode_stream(const Options &options);
void show_stream(const Options &options);

#endif  // KELP_TOOLS_KELP_COMMANDS_H
