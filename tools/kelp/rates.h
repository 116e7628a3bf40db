// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
#ifndef KELP_TOOLS_KELP_RATES_H
#define KELP_TOOLS_KELP_RATES_H

#include <array>
#include <cstdint>
#include <string>

#include "kelp.h"

constexpr double kFrameSeconds = 0.020;
constexpr double kSampleRate_hz = KELP_SAMPLE_RATE_HZ;

struct Rate {
  uint8_t code;      // a packet's first byte
  const char *name;  // "full"
  int net_bits;      // speech bits of a packet, without rate byte and filling
};

// Every rate that a packet can have, highest first.
constexpr std::array<Rate, 5> kRates = {{
    {KELP_RATE_FULL, "full", 266},
    {KELP_RATE_HALF, "half", 124},
    {KELP_RATE_QUARTER, "quarter", 54},
    {KELP_RATE_EIGHTH, "eighth", 20},
    {KELP_RATE_ERASURE, "erasure", 0},
}};

// Name of a rate byte for which kelp_packet_bytes is not 0.
[[nodiscard]] const char *rate_name(uint8_t code);

// Counts packets by rate.
class RateTally {
 public:
  void add(uint8_t code);
  [[nodiscard]] uint64_t packets() const;
  [[nodiscard]] uint64_t count(uint8_t code) const { return counts_[code & 15U]; }
  [[nodiscard]] double seconds() const { return static_cast<double>(packets()) * kFrameSeconds; }

  [[nodiscard]] uint64_t bytes() const;
  [[nodiscard]] double net_kbit() const;     // kbit/s of the speech bits
  [[nodiscard]] double packet_kbit() const;  // kbit/s of the packets as they are
  [[nodiscard]] double share(uint8_t code) const;

  // Packet and bit totals and the share of every rate, as lines of text.
  [[nodiscard]] std::string report() const;

 private:
  std::array<uint64_t, 16> counts_{};  // by rate byte
};

#endif  // KELP_TOOLS_KELP_RATES_H
