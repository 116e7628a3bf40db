// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// Samples through an encoder, a bad line and a decoder.

#include "format/unpack.h"
#include "fuzz/fuzzing.h"

using namespace kelp_fuzz;

namespace {

// Reads a packet and writes what was read.
packet repacked(const packet &bytes) {
  kcmn_bsr_state reader;
  kcmn_bsr_init(&reader, bytes.data(), static_cast<int32_t>(bytes.size()), nullptr);
  kelp::kelpd_frame_params params = {};
  kelp::kelpd_unpack(&reader, &params);
  return pack(static_cast<int32_t>(params.rate), params.codes);
}

// However a stream was, losing it for good fades it out.
void require_fading(decoder *decoder) {
  double energy = 0;
  for (int lost = 0; lost < 60; lost++) {
    energy = 0;
    for (const int16_t sample : decoder->decode({KELP_RATE_ERASURE}))
      energy += 1.0 * sample * sample;
  }
  require(energy < 160 * 100.0 * 100.0, "a lost stream fades out");
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  input in(data, size);
  encoder encoder;
  decoder near, far;
  signal_source signal;
  while (in.next_frame()) {
    packet bytes = encoder.encode(signal.next(&in).data());
    require(repacked(bytes) == bytes, "what is read from a packet makes the same packet");
    near.decode(bytes);
    require(near.info.consumed == std::ssize(bytes), "an encoder's packet is read to its end");
    const uint32_t line = in.byte();
    if (line < 32) bytes = {KELP_RATE_ERASURE};
    if (line >= 32 && line < 64) flip_bit(&bytes, 8 * line + in.byte());
    if (line >= 64 && line < 80) bytes.resize(1 + line % bytes.size());
    far.decode(bytes);
  }
  if (size % 4 == 0) require_fading(&far);
  return 0;
}
