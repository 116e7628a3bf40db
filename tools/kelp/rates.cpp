// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "tools/kelp/rates.h"

#include <cinttypes>
#include <cstdio>
namespace {

// One line of a report; every line is far shorter than the buffer.
template <typename... Values>
std::string line(const char *format, Values... values) {
  char text[160];
  static_cast<void>(std::snprintf(text, sizeof text, format, values...));
  return text;
}

}  // namespace

const char *rate_name(uint8_t code) {
  for (const Rate &rate : kRates) {
    if (rate.code == code) return rate.name;
  }
  return "unknown";
}

void RateTally::add(uint8_t code) {
  ++counts_[code & 15U];
}

uint64_t RateTally::packets() const {
  uint64_t sum = 0;
  for (const uint64_t count : counts_) sum += count;
  return sum;
}

std::string RateTally::report() const {
  const uint64_t total = packets();
  uint64_t bytes = 0;
  uint64_t net_bits = 0;
  for (const Rate &rate : kRates) {
    bytes += count(rate.code) * static_cast<uint64_t>(kelp_packet_bytes(rate.code));
    net_bits += count(rate.code) * static_cast<uint64_t>(rate.net_bits);
  }
  const double kilo_seconds = seconds() * 1000.0;
  std::string text = line("packets    %12" PRIu64 "\n", total);
  text += line("duration   %12.3f s\n", seconds());
  text += line("bytes      %12" PRIu64 "\n", bytes);
  if (total == 0) return text;
  text += line("bit rate   %12.2f kbit/s net, %.2f kbit/s in packets\n",
               static_cast<double>(net_bits) / kilo_seconds,
               static_cast<double>(bytes) * 8.0 / kilo_seconds);
  text += "\nrate            packets    share\n";
  for (const Rate &rate : kRates) {
    const double share = 100.0 * static_cast<double>(count(rate.code)) / static_cast<double>(total);
    text += line("%-10s %12" PRIu64 "   %5.1f %%\n", rate.name, count(rate.code), share);
  }
  return text;
}
