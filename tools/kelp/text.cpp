// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "tools/kelp/text.h"

#include <cctype>
#include <cmath>
#include <cstdio>

namespace {

constexpr const char *kReplacement = "\xEF\xBF\xBD";

// Bytes of the well-formed character at text[at]; 0 where there is none, or one that no text format
// may hold.
size_t character_bytes(const std::string &text, size_t at) {
  const auto byte = [&](size_t i) {
    return i < text.size() ? static_cast<unsigned char>(text[i]) : 0U;
  };
  const unsigned first = byte(at);
  if (first < 0x80) return first < 0x20 || first == 0x7F ? 0 : 1;
  const size_t length = first < 0xC2   ? 0
                        : first < 0xE0 ? 2
                        : first < 0xF0 ? 3
                        : first < 0xF5 ? 4
                                       : 0;
  for (size_t i = 1; i < length; i++) {
    if ((byte(at + i) & 0xC0U) != 0x80) return 0;
  }
  const unsigned second = byte(at + 1);
  const bool overlong = (first == 0xE0 && second < 0xA0) || (first == 0xF0 && second < 0x90);
  const bool outside = (first == 0xED && second >= 0xA0) || (first == 0xF4 && second >= 0x90);
  return overlong || outside ? 0 : length;
}

// Every character through `escape`, which gives null for those that stand for themselves.
template <typename Escape>
std::string escaped(const std::string &text, Escape escape) {
  std::string result;
  for (size_t at = 0; at < text.size();) {
    const size_t length = character_bytes(text, at);
    if (length == 0) {
      result += kReplacement;
    } else if (const char *const other = length == 1 ? escape(text[at]) : nullptr) {
      result += other;
    } else {
      result.append(text, at, length);
    }
    at += length == 0 ? 1 : length;
  }
  return result;
}

}  // namespace

std::string json_string(const std::string &text) {
  const auto escape = [](char c) { return c == '"' ? "\\\"" : c == '\\' ? "\\\\" : nullptr; };
  return '"' + escaped(text, escape) + '"';
}

std::string xml_text(const std::string &text) {
  return escaped(text, [](char c) -> const char * {
    switch (c) {
      case '&': return "&amp;";
      case '<': return "&lt;";
      case '>': return "&gt;";
      case '"': return "&quot;";
      case '\'': return "&#39;";
      default: return nullptr;
    }
  });
}

std::string base64(std::span<const uint8_t> bytes) {
  constexpr const char *kDigits =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  for (size_t at = 0; at < bytes.size(); at += 3) {
    const size_t left = bytes.size() - at;
    const uint32_t group = static_cast<uint32_t>(bytes[at]) << 16 |
                           (left > 1 ? static_cast<uint32_t>(bytes[at + 1]) << 8 : 0) |
                           (left > 2 ? static_cast<uint32_t>(bytes[at + 2]) : 0);
    for (size_t digit = 0; digit < 4; digit++) {
      text += digit <= left ? kDigits[group >> (18 - 6 * digit) & 63U] : '=';
    }
  }
  return text;
}

std::string decimal(double value, int decimals) {
  char text[64];
  static_cast<void>(std::snprintf(text, sizeof text, "%.*f", decimals, value));
  return text;
}

std::string lower_case(std::string text) {
  for (char &c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

std::string counted(uint64_t count, const char *noun) {
  return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

std::string clock_text(double seconds, bool hours) {
  const auto whole = static_cast<uint64_t>(std::llround(seconds));
  const auto two = [](uint64_t value) { return (value < 10 ? "0" : "") + std::to_string(value); };
  if (!hours) return std::to_string(whole / 60) + ":" + two(whole % 60);
  return std::to_string(whole / 3600) + ":" + two(whole / 60 % 60) + ":" + two(whole % 60);
}

std::string duration_text(double seconds) {
  if (seconds < 59.5) return decimal(seconds, seconds < 9.5 ? 1 : 0) + " s";
  const bool hours = seconds >= 3599.5;
  return clock_text(seconds, hours) + (hours ? " h" : " min");
}
