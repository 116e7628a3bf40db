// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
#ifndef KELP_TOOLS_KELP_PACKET_FILE_H
#define KELP_TOOLS_KELP_PACKET_FILE_H

#include <array>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

#include "kelp.h"

struct Packet {
  std::array<uint8_t, KELP_MAX_PACKET_BYTES> bytes{};
  int32_t length = 0;

  [[nodiscard]] uint8_t rate() const { return bytes[0]; }
};

// Reads a .kelp stream, which is packets back to back, one packet at a time.
class PacketReader {
 public:
  explicit PacketReader(const std::string &path);  // "-" is standard input

  // The next packet, or false at the end of the stream. Throws a Failure that tells the offset when
  // no packet begins there, when the stream breaks off inside a packet, or when it holds none.
  bool next(Packet &packet);

 private:
  struct Close {
    void operator()(std::FILE *file) const {
      if (file != stdin) static_cast<void>(std::fclose(file));  // nothing was written
    }
  };

  [[nodiscard]] std::string here() const;         // "PATH: byte OFFSET: "
  [[nodiscard]] std::string cut_command() const;  // keeps the packets read so far
  void check_read() const;                        // throws when the last read failed

  std::string path_;  // for messages
  std::unique_ptr<std::FILE, Close> file_;
  uint64_t offset_ = 0;  // of the next packet
};

#endif  // KELP_TOOLS_KELP_PACKET_FILE_H
