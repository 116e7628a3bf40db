// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// Names, numbers and times as people and other formats read them. For the latter, bytes that are no
// UTF-8 and control characters come out as U+FFFD.
#ifndef KELP_TOOLS_KELP_TEXT_H
#define KELP_TOOLS_KELP_TEXT_H

#include <cstdint>
#include <cstdio>
#include <span>
#include <string>

[[nodiscard]] std::string json_string(const std::string &text);  // with its quotes
[[nodiscard]] std::string xml_text(const std::string &text);     // for content and attributes
[[nodiscard]] std::string base64(std::span<const uint8_t> bytes);

// One JSON object, put together member by member.
class JsonObject {
 public:
  // `value` is JSON already.
  JsonObject &add(const char *name, const std::string &value) {
    text_ += (text_.empty() ? "{\"" : ",\"");
    text_.append(name).append("\":").append(value);
    return *this;
  }
  [[nodiscard]] std::string text() const { return text_ + "}"; }

 private:
  std::string text_;
};

// As printf; the text comes out shorter than 256 bytes.
template <typename... Values>
[[nodiscard]] std::string formatted(const char *format, Values... values) {
  char text[256];
  static_cast<void>(std::snprintf(text, sizeof text, format, values...));
  return text;
}

// With `decimals` digits behind the point.
[[nodiscard]] std::string decimal(double value, int decimals);

[[nodiscard]] std::string lower_case(std::string text);  // ASCII

// "1 byte", "2 bytes"
[[nodiscard]] std::string counted(uint64_t count, const char *noun);

// Seconds as clocks show them, 1:05 or with `hours` 0:01:05, and as people say them: 12 s, 3:05 min
// or 2:00:05 h.
[[nodiscard]] std::string clock_text(double seconds, bool hours);
[[nodiscard]] std::string duration_text(double seconds);

#endif  // KELP_TOOLS_KELP_TEXT_H
