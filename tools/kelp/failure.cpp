// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "tools/kelp/failure.h"

#include <cerrno>
#include <cstring>

Failure system_failure(const std::string &path, const std::string &what,
                       const std::string &remedy) {
  return Failure(path + ": " + what + ": " + std::strerror(errno) + "; " + remedy);
}

std::string shell_word(const std::string &text) {
  const char *plain = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_-./+,:@%";
  if (!text.empty() && text.find_first_not_of(plain) == std::string::npos) return text;
  std::string word = "'";
  for (const char c : text) {
    if (c == '\'') {
      word += "'\\''";
    } else {
      word += c;
    }
  }
  return word + "'";
}
