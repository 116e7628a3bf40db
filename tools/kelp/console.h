// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
#ifndef KELP_TOOLS_KELP_CONSOLE_H
#define KELP_TOOLS_KELP_CONSOLE_H

#include <string>
#include <vector>

// Empties the last line of a terminal, and begins it again.
inline constexpr const char *kClearLine = "\r\033[K";

// What a command tells the user, unless --quiet. Functions that may run on several threads do not
// print: they return what there is to tell, and the command prints it.
struct Console {
  bool quiet = false;

  // The result: on stdout, or on stderr where the data take stdout.
  void report(const std::string &text, bool data_on_stdout = false) const;

  // What the user should know about a result, on stderr: "kelp: note: TEXT".
  void notes(const std::vector<std::string> &texts) const;
};

#endif  // KELP_TOOLS_KELP_CONSOLE_H
