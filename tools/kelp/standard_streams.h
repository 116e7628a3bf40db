// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// "-" among the arguments: standard input or standard output, as the place asks.
#ifndef KELP_TOOLS_KELP_STANDARD_STREAMS_H
#define KELP_TOOLS_KELP_STANDARD_STREAMS_H

#include <string>

inline bool is_standard_stream(const std::string &argument) {
  return argument == "-";
}

// What messages call an input or output.
inline std::string input_name(const std::string &argument) {
  return is_standard_stream(argument) ? "standard input" : argument;
}
inline std::string output_name(const std::string &argument) {
  return is_standard_stream(argument) ? "standard output" : argument;
}

#endif  // KELP_TOOLS_KELP_STANDARD_STREAMS_H
