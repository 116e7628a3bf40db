// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "tools/kelp/packet_loss.h"

#include <cctype>
#include <cerrno>
#include <fstream>

#include "tools/kelp/failure.h"

namespace {

std::vector<bool> read_pattern(const std::string &path) {
  std::ifstream file(path, std::ios::binary);
  std::vector<bool> pattern;
  uint64_t offset = 0;
  for (char c; file.get(c); offset++) {
    if (c == '0' || c == '1') {
      pattern.push_back(c == '1');
    } else if (std::isspace(static_cast<unsigned char>(c)) == 0) {
      throw Failure(path + ": byte " + std::to_string(offset) +
                    ": is no part of a loss pattern; write 1 for a lost packet and 0 for others");
    }
  }
  if (!file.eof()) throw system_failure(path, "cannot be read", "check its name and permissions");
  if (pattern.empty()) {
    throw Failure(path + ": byte 0: the loss pattern is empty; write 1 for a lost packet and 0 " +
                  "for others");
  }
  return pattern;
}

}  // namespace

PacketLoss::PacketLoss(const LossOptions &options)
    : percent_(options.percent),
      random_(options.seed),
      pattern_(options.pattern_path.empty() ? std::vector<bool>()
                                            : read_pattern(options.pattern_path)) {}

bool PacketLoss::next() {
  if (!pattern_.empty()) {
    const bool lost = pattern_[position_];
    position_ = (position_ + 1) % pattern_.size();
    return lost;
  }
  // The generator is the same everywhere, standard distributions are not.
  constexpr double kSteps = 18446744073709551616.0;
  return static_cast<double>(random_()) / kSteps * 100 < percent_;
}
