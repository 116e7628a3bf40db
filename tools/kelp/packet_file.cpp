// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "tools/kelp/packet_file.h"

#include "tools/kelp/failure.h"
#include "tools/kelp/rates.h"
#include "tools/kelp/standard_streams.h"

PacketReader::PacketReader(const std::string &path) : path_(input_name(path)) {
  file_.reset(is_standard_stream(path) ? stdin : std::fopen(path.c_str(), "rb"));
  if (!file_) throw system_failure(path_, "cannot be opened", "check its name and permissions");
}

bool PacketReader::next(Packet &packet) {
  const int first = std::fgetc(file_.get());
  if (first == EOF) {
    check_read();
    if (offset_ == 0) {
      throw Failure(path_ +
                    ": byte 0: the stream is empty, there is no packet in it; make it again with "
                    "'kelp encode'");
    }
    return false;
  }
  packet.bytes[0] = static_cast<uint8_t>(first);
  packet.length = kelp_packet_bytes(packet.bytes[0]);
  if (packet.length == 0) {
    const std::string cause = here() + "no packet begins with the byte " + std::to_string(first) +
                              " (rate bytes are 1, 2, 3, 4 and 14)";
    if (offset_ == 0) {
      throw Failure(cause +
                    "; this is not a .kelp stream, 'kelp encode' makes one from a recording");
    }
    throw Failure(cause + "; the stream is damaged from here on, " + cut_command());
  }
  const size_t rest = static_cast<size_t>(packet.length) - 1;
  const size_t got = std::fread(packet.bytes.data() + 1, 1, rest, file_.get());
  if (got < rest) {
    check_read();
    throw Failure(here() + "the stream breaks off inside a packet of " + rate_name(packet.rate()) +
                  " rate, " + std::to_string(got + 1) + " of its " + std::to_string(packet.length) +
                  " bytes are there; fetch the stream again" +
                  (offset_ == 0 ? "" : ", or " + cut_command()));
  }
  offset_ += static_cast<uint64_t>(packet.length);
  return true;
}

std::string PacketReader::here() const {
  return path_ + ": byte " + std::to_string(offset_) + ": ";
}

std::string PacketReader::cut_command() const {
  return "keep what comes before with: head -c " + std::to_string(offset_) + " " +
         shell_word(path_) + " > whole.kelp";
}

void PacketReader::check_read() const {
  if (std::ferror(file_.get()) != 0) {
    throw system_failure(path_, "byte " + std::to_string(offset_) + ": cannot be read",
                         "name a file on a medium that works");
  }
}
