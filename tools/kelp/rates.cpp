// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "tools/kelp/rates.h"

#include <cinttypes>

#include "tools/kelp/text.h"

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

uint64_t RateTally::bytes() const {
  uint64_t sum = 0;
  for (const Rate &rate : kRates)
    sum += count(rate.code) * static_cast<uint64_t>(kelp_packet_bytes(rate.code));
  return sum;
}

double RateTally::net_kbit() const {
  uint64_t bits = 0;
  for (const Rate &rate : kRates) bits += count(rate.code) * static_cast<uint64_t>(rate.net_bits);
  return bits == 0 ? 0 : static_cast<double>(bits) / (1000 * seconds());
}

double RateTally::packet_kbit() const {
  return packets() == 0 ? 0 : static_cast<double>(8 * bytes()) / (1000 * seconds());
}

double RateTally::share(uint8_t code) const {
  return packets() == 0 ? 0 : static_cast<double>(count(code)) / static_cast<double>(packets());
}

std::string RateTally::report() const {
  std::string text = formatted("packets    %12" PRIu64 "\n", packets());
  text += formatted("duration   %12.3f s\n", seconds());
  text += formatted("bytes      %12" PRIu64 "\n", bytes());
  if (packets() == 0) return text;
  text += formatted("bit rate   %12.2f kbit/s net, %.2f kbit/s in packets\n", net_kbit(),
                    packet_kbit());
  text += "\nrate            packets    share\n";
  for (const Rate &rate : kRates) {
    text += formatted("%-10s %12" PRIu64 "   %5.1f %%\n", rate.name, count(rate.code),
                      100 * share(rate.code));
  }
  return text;
}
