// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "tools/kelp/console.h"

#include <iostream>

void Console::report(const std::string &text, bool data_on_stdout) const {
  if (!quiet) (data_on_stdout ? std::cerr : std::cout) << text;
}

void Console::notes(const std::vector<std::string> &texts) const {
  if (quiet) return;
  for (const std::string &text : texts) std::cerr << "kelp: note: " << text << '\n';
}
