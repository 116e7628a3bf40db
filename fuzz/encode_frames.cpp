// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// Any samples through one encoder, into buffers of every capacity.

#include "fuzz/fuzzing.h"

using namespace kelp_fuzz;

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  input in(data, size);
  encoder encoder, other;
  signal_source signal;
  // One input in three is encoded again as it is, one again into buffers that are large enough.
  const uint32_t comparison = in.below(3);
  bool comparable = comparison != 0, begun = false;
  while (in.next_frame()) {
    const frame pcm = signal.next(&in);
    const uint32_t room = in.byte();
    const int32_t capacity =
        room < 200 ? KELP_MAX_PACKET_BYTES : 1 + static_cast<int32_t>(room % 40);
    const packet cut = encoder.encode(pcm.data(), capacity);
    require(begun || cut[0] == KELP_RATE_FULL, "a stream begins at full rate");
    begun = true;
    const int32_t whole = kelp_packet_bytes(cut[0]);
    require(cut[0] != KELP_RATE_QUARTER && std::ssize(cut) == std::min(whole, capacity),
            "a packet has the length of its rate, or is cut off");
    if (!comparable) continue;
    const packet again =
        other.encode(pcm.data(), comparison == 1 ? capacity : KELP_MAX_PACKET_BYTES);
    require(std::equal(cut.begin(), cut.end(), again.begin()),
            "the same frames give the same bytes");
    // A buffer too short for the seed that is kept of an eighth-rate packet makes another stream.
    comparable = comparison == 1 || capacity > 2 || cut[0] != KELP_RATE_EIGHTH;
  }
  return 0;
}
