// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// Whole frames of hard input through handles.

#include "tests/support.h"

using namespace kelp_test;

namespace {

constexpr int kKinds = 10;

// Frame f of hard input: silence, full-scale waves, noise, clicks, bursts.
frame hard_input(size_t kind, int f, random_numbers *random) {
  frame pcm;
  for (int n = 0; n < KELP_FRAME_SAMPLES; n++) {
    const int t = f * KELP_FRAME_SAMPLES + n;
    const int noise = random->between(-32768, 32767);
    const int values[kKinds] = {0,
                                -32768,
                                t % 2 ? -32768 : 32767,
                                t / 20 % 2 ? -32768 : 32767,
                                noise,
                                noise < 0 ? -32768 : 32767,
                                t % 1999 ? 0 : 32767,
                                t % 57 ? 3 : -32768,
                                f % 7 < 3 ? noise : noise / 2048,
                                t * 37 % 65536 - 32768};
    pcm[static_cast<size_t>(n)] = static_cast<int16_t>(values[kind]);
  }
  return pcm;
}

TEST(Encoder, HardInput) {
  for (size_t kind = 0; kind < kKinds; kind++) {
    random_numbers random(36);
    encoder encoder, twin;
    decoder decoder;
    for (int f = 0; f < 120; f++) {
      const frame pcm = hard_input(kind, f, &random);
      const packet bytes = encoder.encode(pcm.data());
      ASSERT_TRUE(bytes[0] == 4 || (f > 0 && (bytes[0] == 3 || bytes[0] == 1)));
      ASSERT_TRUE(kind > 0 || f < 60 || bytes[0] == 1);  // silence settles
      ASSERT_EQ(std::ssize(bytes), kelp_packet_bytes(bytes[0]));
      ASSERT_TRUE(encoder.info.consumed == 1 && encoder.info.calls == static_cast<uint64_t>(f) + 1);
      ASSERT_EQ(bytes, twin.encode(pcm.data()));
      decoder.decode(bytes);
    }
  }
}

}  // namespace
