// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// The library's encoder and decoder as objects of the tool. One object belongs to one thread at a
// time; main has called kelp_init.
#ifndef KELP_TOOLS_KELP_CODEC_H
#define KELP_TOOLS_KELP_CODEC_H

#include <array>
#include <cstdint>
#include <memory>
#include <span>

#include "kelp.h"
#include "tools/kelp/packet_file.h"

using SpeechFrame = std::array<int16_t, KELP_FRAME_SAMPLES>;

class Encoder {
 public:
  Encoder();

  // Throws a Failure that does not name the file.
  Packet encode(SpeechFrame &speech);

 private:
  struct Delete {
    void operator()(void *handle) const;
  };
  std::unique_ptr<void, Delete> handle_;
};

class Decoder {
 public:
  Decoder();

  // Valid until the next call. Throws a Failure that does not name the file.
  std::span<const int16_t> decode(Packet packet);

 private:
  struct Delete {
    void operator()(void *handle) const;
  };
  std::unique_ptr<void, Delete> handle_;
  SpeechFrame speech_{};
};

#endif  // KELP_TOOLS_KELP_CODEC_H
