// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
#ifndef KELP_BENCH_PEERS_CODEC_H
#define KELP_BENCH_PEERS_CODEC_H

#include <cstdint>
#include <functional>
#include <vector>

namespace kelp::peers {

inline constexpr int kFrame = 160;  // 20 ms, the step in which all codecs run

// Coded: one packet, or two of 10 ms each.
struct coded_frame {
  uint8_t bytes[64];
  int length[2];
};

// A stream each way; its handles go with the last copy.
struct codec {
  std::function<void(int16_t *pcm, coded_frame *out)> encode;  // may write over the samples
  std::function<void(const coded_frame &in, int16_t *pcm)> decode;
};

struct codec_kind {
  const char *name;
  const char *in_conversation;  // what the codec is told to do about pauses
  codec (*create)(bool conversation);
};

// libkelp first, then what this build has found.
const std::vector<codec_kind> &codecs();

}  // namespace kelp::peers

#endif  // KELP_BENCH_PEERS_CODEC_H
