// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
#ifndef KELP_TOOLS_KELP_PACKET_FILE_H
#define KELP_TOOLS_KELP_PACKET_FILE_H

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "kelp.h"

struct Packet {
  std::array<uint8_t, KELP_MAX_PACKET_BYTES> bytes{};
  int32_t length = 0;

  [[nodiscard]] uint8_t rate() const { return bytes[0]; }
  [[nodiscard]] std::span<const uint8_t> content() const {
    return {bytes.data(), static_cast<size_t>(length)};
  }
  static Packet erasure() { return {{KELP_RATE_ERASURE}, 1}; }
};

// A stretch of a stream that is no packets.
struct Damage {
  uint64_t offset;
  uint64_t bytes;
  uint64_t frames;    // that probably were there, 1 or more
  std::string cause;  // "no packet begins with the byte 7 ..."
};

// Reads a .kelp stream, which is packets back to back, one packet at a time.
class PacketReader {
 public:
  explicit PacketReader(const std::string &path);  // "-" is standard input
  ~PacketReader();
  PacketReader(const PacketReader &) = delete;
  PacketReader &operator=(const PacketReader &) = delete;

  // The next packet, or false at the end of the stream. Throws a Failure that tells the offset when
  // no packet begins there, when the stream breaks off inside a packet, or when it holds none.
  bool next(Packet &packet);

  // The same, but where no packet stands `damage` tells what was skipped up to where packets go on,
  // and the packet is an erasure; else it has no frames. Throws when the stream is empty.
  bool next(Packet &packet, Damage *damage);

  [[nodiscard]] double part_read() const;  // of a file, below 0 of a pipe

 private:
  enum class Found : uint8_t { packet, end, unknown, broken_off };

  Found look(Packet &packet);
  Damage skip(Found found);
  size_t available(size_t wanted);
  void advance(size_t count);
  [[nodiscard]] bool packets_follow(size_t at);
  [[nodiscard]] std::string cause(Found found) const;
  [[nodiscard]] std::string remedy(Found found) const;

  std::string path_;  // for messages
  int descriptor_;
  uint64_t length_ = 0;          // of a file, else 0
  uint64_t offset_ = 0;          // of the next packet
  std::vector<uint8_t> buffer_;  // read, from `begin_` on not yet used
  size_t begin_ = 0;
};

#endif  // KELP_TOOLS_KELP_PACKET_FILE_H
