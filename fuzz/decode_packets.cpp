// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// Sequences of packets through one decoder: whole, cut off, lost, damaged, of any rate byte.

#include "fuzz/fuzzing.h"

using namespace kelp_fuzz;

namespace {

// A packet of a rate with the input's bits in it; `parameter` sets the bits that get past checks.
packet shaped_packet(input *in, uint8_t rate) {
  packet bytes = in->bytes(static_cast<size_t>(kelp_packet_bytes(rate)));
  bytes[0] = rate;
  if (rate == KELP_RATE_EIGHTH) bytes[3] &= 0x0F;
  if (rate == KELP_RATE_FULL) bytes[33] &= 0x3F;
  return bytes;
}

packet next_packet(input *in) {
  constexpr std::array<uint8_t, 4> kRates = {KELP_RATE_EIGHTH, KELP_RATE_QUARTER, KELP_RATE_HALF,
                                             KELP_RATE_FULL};
  const uint32_t kind = in->below(12);
  const uint8_t rate = kRates[in->below(4)];
  random_numbers random(kind > 3 ? in->word() : 0);
  packet bytes;
  switch (kind) {
    case 0: return {KELP_RATE_ERASURE};
    case 1: return in->bytes(1 + in->below(45));
    case 2: return shaped_packet(in, rate);
    case 3:  // cut off, or followed by more
      bytes = shaped_packet(in, rate);
      bytes.resize(1 + in->below(45));
      return bytes;
    case 4:
    case 5:
      bytes.resize(1 + random.below(45));
      for (uint8_t &byte : bytes) byte = static_cast<uint8_t>(random.next());
      if (kind == 4) bytes[0] = rate;
      return bytes;
    case 6: {
      const uint32_t gain = random.below(16);
      return quarter_packet({gain, gain, random.below(16), gain, gain},
                            {random.below(64), 1, 1, 1, 1});
    }
    default:  // well-formed, of a rate that is sent; at times with one bit changed
      bytes = random_speech_packet(&random, rate + (rate == KELP_RATE_QUARTER ? 2 : 0));
      if (kind > 9) flip_bit(&bytes, random.below(8 * KELP_MAX_PACKET_BYTES));
      return bytes;
  }
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  input in(data, size);
  decoder decoder, twin, other;
  while (in.next_frame()) {
    packet bytes = next_packet(&in);
    const frame heard = decoder.decode(bytes);
    // What follows a packet in its buffer does not matter, nor what another decoder does.
    if (std::ssize(bytes) >= kelp_packet_bytes(bytes[0])) bytes.insert(bytes.end(), {0x55, 0xAA});
    require(twin.decode(bytes) == heard, "a packet sequence decodes to the same samples twice");
    std::reverse(bytes.begin(), bytes.end());
    other.decode(bytes);
  }
  return 0;
}
