// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// What there is to tell of a stream, and the forms in which it is told.
#ifndef KELP_TOOLS_KELP_INFO_H
#define KELP_TOOLS_KELP_INFO_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/kelp/failure.h"
#include "tools/kelp/inspection.h"
#include "tools/kelp/rates.h"

struct StreamInfo {
  std::string name;
  std::vector<FrameFacts> frames;  // those before a fault
  RateTally tally;
  std::vector<int16_t> speech;   // decoded, where it was asked for
  std::optional<Failure> fault;  // what is wrong with the stream behind the last frame

  [[nodiscard]] double voiced_share() const;
  [[nodiscard]] uint64_t unusable() const;  // packets
  [[nodiscard]] uint64_t fault_offset() const { return tally.bytes(); }
};

// Reads the stream up to its end or its first fault. Throws a Failure when it cannot be opened.
[[nodiscard]] StreamInfo read_info(const std::string &path, bool decode);

[[nodiscard]] std::string info_text(const StreamInfo &info);
[[nodiscard]] std::string info_table(const StreamInfo &info);  // a line a frame
[[nodiscard]] std::string info_json(const StreamInfo &info, bool with_frames);

#endif  // KELP_TOOLS_KELP_INFO_H
