// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
#ifndef KELP_TOOLS_KELP_FAILURE_H
#define KELP_TOOLS_KELP_FAILURE_H

#include <stdexcept>
#include <string>

// A command that cannot go on. The message names the file, the byte offset where there is one, the
// cause and the remedy; main prints it and exits with status 1.
class Failure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// "PATH: WHAT: the reason in errno; REMEDY", for a system call that just failed.
[[nodiscard]] Failure system_failure(const std::string &path, const std::string &what,
                                     const std::string &remedy);

// A name as it must be typed in a shell command that a message suggests.
[[nodiscard]] std::string shell_word(const std::string &text);

#endif  // KELP_TOOLS_KELP_FAILURE_H
