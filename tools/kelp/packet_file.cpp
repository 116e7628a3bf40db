// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "tools/kelp/packet_file.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tools/kelp/failure.h"
#include "tools/kelp/rates.h"
#include "tools/kelp/standard_streams.h"

namespace {

constexpr size_t kBlockBytes = 65536;
// So many packets in a row are no accident: one byte in fifty begins a packet.
constexpr int kPacketsInARow = 4;

}  // namespace

PacketReader::PacketReader(const std::string &path)
    : path_(input_name(path)),
      descriptor_(is_standard_stream(path) ? STDIN_FILENO
                                           : open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
  if (descriptor_ < 0) {
    throw system_failure(path_, "cannot be opened", "check its name and permissions");
  }
  struct stat status = {};
  if (fstat(descriptor_, &status) == 0 && S_ISREG(status.st_mode)) {
    length_ = static_cast<uint64_t>(status.st_size);
  }
}

PacketReader::~PacketReader() {
  if (descriptor_ != STDIN_FILENO) close(descriptor_);
}

bool PacketReader::next(Packet &packet) {
  const Found found = look(packet);
  if (found == Found::unknown || found == Found::broken_off) {
    throw Failure(path_ + ": byte " + std::to_string(offset_) + ": " + cause(found) + "; " +
                  remedy(found));
  }
  advance(static_cast<size_t>(packet.length));
  return found == Found::packet;
}

bool PacketReader::next(Packet &packet, Damage *damage) {
  damage->frames = 0;
  const Found found = look(packet);
  if (found == Found::unknown || found == Found::broken_off) {
    *damage = skip(found);
    packet = Packet::erasure();
    return true;
  }
  advance(static_cast<size_t>(packet.length));
  return found == Found::packet;
}

double PacketReader::part_read() const {
  return length_ == 0 ? -1 : static_cast<double>(offset_) / static_cast<double>(length_);
}

// What stands next in the stream; of a packet its bytes, of anything else a length of 0.
PacketReader::Found PacketReader::look(Packet &packet) {
  packet.length = 0;
  if (available(1) == 0) {
    if (offset_ != 0) return Found::end;
    throw Failure(path_ +
                  ": byte 0: the stream is empty, there is no packet in it; make it again " +
                  "with 'kelp encode'");
  }
  const int32_t length = kelp_packet_bytes(buffer_[begin_]);
  if (length == 0) return Found::unknown;
  const auto bytes = static_cast<size_t>(length);
  if (available(bytes) < bytes) return Found::broken_off;
  std::copy_n(buffer_.begin() + static_cast<ptrdiff_t>(begin_), bytes, packet.bytes.begin());
  packet.length = length;
  return Found::packet;
}

// Skips damage up to where packets go on.
Damage PacketReader::skip(Found found) {
  size_t bytes = 0;
  bool blank = true;
  do {
    blank = blank && buffer_[begin_ + bytes] == 0;
    bytes++;
  } while (available(bytes + 1) > bytes && (found == Found::broken_off || !packets_follow(bytes)));
  // A few zeros are blank frames of one byte each. More of them are a hole and, like all damage,
  // hide nobody knows how many packets: so many at least.
  const bool frames_are_blank = blank && bytes < KELP_MAX_PACKET_BYTES;
  const uint64_t packets = (bytes + KELP_MAX_PACKET_BYTES - 1) / KELP_MAX_PACKET_BYTES;
  Damage damage = {offset_, bytes, frames_are_blank ? bytes : packets,
                   frames_are_blank ? "blank (the byte 0)" : cause(found)};
  advance(bytes);
  return damage;
}

// How many bytes are at hand, which are fewer than wanted at the end of the stream only.
size_t PacketReader::available(size_t wanted) {
  while (buffer_.size() - begin_ < wanted) {
    buffer_.erase(buffer_.begin(), buffer_.begin() + static_cast<ptrdiff_t>(begin_));
    begin_ = 0;
    const size_t before = buffer_.size();
    buffer_.resize(before + kBlockBytes);
    const ssize_t got = read(descriptor_, &buffer_[before], kBlockBytes);
    buffer_.resize(before + static_cast<size_t>(std::max<ssize_t>(got, 0)));
    if (got < 0 && errno != EINTR) {
      throw system_failure(path_, "byte " + std::to_string(offset_) + ": cannot be read",
                           "name a file on a medium that works");
    }
    if (got == 0) break;
  }
  return buffer_.size() - begin_;
}

void PacketReader::advance(size_t count) {
  begin_ += count;
  offset_ += count;
}

// Whether packets go on at so many bytes from here: several in a row, or all up to the end.
bool PacketReader::packets_follow(size_t at) {
  for (int count = 0; count < kPacketsInARow; count++) {
    if (available(at + 1) <= at) return count != 0;
    const int32_t length = kelp_packet_bytes(buffer_[begin_ + at]);
    if (length == 0) return false;
    at += static_cast<size_t>(length);
  }
  return available(at) >= at;
}

std::string PacketReader::cause(Found found) const {
  const uint8_t first = buffer_[begin_];
  if (found == Found::unknown) {
    return "no packet begins with the byte " + std::to_string(first) +
           " (rate bytes are 1, 2, 3, 4 and 14)";
  }
  return std::string("the stream breaks off inside a packet of ") + rate_name(first) + " rate, " +
         std::to_string(buffer_.size() - begin_) + " of its " +
         std::to_string(kelp_packet_bytes(first)) + " bytes are there";
}

std::string PacketReader::remedy(Found found) const {
  if (offset_ == 0 && found == Found::unknown) {
    return "this is not a .kelp stream, 'kelp encode' makes one from a recording";
  }
  if (offset_ == 0) return "fetch the stream again";
  return "fetch the stream again, keep what comes before with: head -c " + std::to_string(offset_) +
         " " + shell_word(path_) +
         " > whole.kelp, or conceal the damage with: kelp decode --keep-going";
}
