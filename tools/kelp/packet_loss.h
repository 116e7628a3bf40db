// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// Packets lost on purpose, to hear what becomes of speech.
#ifndef KELP_TOOLS_KELP_PACKET_LOSS_H
#define KELP_TOOLS_KELP_PACKET_LOSS_H

#include <cstdint>
#include <random>
#include <string>
#include <vector>

struct LossOptions {
  double percent = 0;        // each packet is lost with this probability
  uint64_t seed = 1;         // other losses at the same probability
  std::string pattern_path;  // or a file of digits: 1 is lost, 0 is not, over and over; "": none
};

class PacketLoss {
 public:
  explicit PacketLoss(const LossOptions &options);  // throws a Failure about the pattern

  bool next();  // whether the next packet is lost

 private:
  double percent_;
  std::mt19937_64 random_;
  std::vector<bool> pattern_;  // used when it is not empty
  size_t position_ = 0;
};

#endif  // KELP_TOOLS_KELP_PACKET_LOSS_H
