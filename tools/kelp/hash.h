// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
#ifndef KELP_TOOLS_KELP_HASH_H
#define KELP_TOOLS_KELP_HASH_H

#include <cstdint>
#include <string_view>

// The same on every machine and in every version: shards of an archive hang on it. FNV-1a, and a
// last mixing so that its low bits depend on all of the text.
[[nodiscard]] constexpr uint64_t hash_of(std::string_view text) {
  uint64_t hash = 0xCBF29CE484222325U;
  for (const char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3U;
  hash = (hash ^ (hash >> 33)) * 0xFF51AFD7ED558CCDU;
  return hash ^ (hash >> 33);
}

#endif  // KELP_TOOLS_KELP_HASH_H
