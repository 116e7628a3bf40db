// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "tools/quality/codec.h"

#include <memory>
#include <stdexcept>

#include "enc/preprocess.h"
#include "kelp.h"

namespace kelp::quality {
namespace {

constexpr size_t kFrameSamples = KELP_FRAME_SAMPLES;
constexpr kelp_config kConfig = {};

void end_encoder(void *encoder) {
  kelpe_flush(encoder);
  kelpe_delete(encoder);
}

using handle = std::unique_ptr<void, void (*)(void *)>;

void check(bool ok) {
  if (!ok) throw std::runtime_error("the codec refused a frame, or could not start");
}

}  // namespace

std::vector<packet> encode(std::span<const int16_t> pcm) {
  kelp_init();
  const handle encoder(kelpe_create(&kConfig, nullptr), end_encoder);
  check(encoder != nullptr);
  std::vector<packet> packets;
  kelp_frame_info info = {};
  for (size_t at = 0; at + kFrameSamples <= pcm.size(); at += kFrameSamples) {
    kelp_pcm_frame frame = {};
    frame.samples[0] = const_cast<int16_t *>(&pcm[at]);  // only read
    packet bytes(KELP_MAX_PACKET_BYTES);
    kelp_packet_desc out = {bytes.data(), 0, KELP_MAX_PACKET_BYTES};
    check(kelpe_encode(encoder.get(), &frame, &out, &info) == KELP_OK);
    bytes.resize(static_cast<size_t>(info.produced));
    packets.push_back(bytes);
  }
  return packets;
}

pcm_samples decode(const std::vector<packet> &packets, const std::vector<bool> &lost) {
  kelp_init();
  const handle decoder(kelpd_create(&kConfig, nullptr), kelpd_delete);
  check(decoder != nullptr);
  const packet erasure = {KELP_RATE_ERASURE};
  pcm_samples pcm(packets.size() * kFrameSamples);
  kelp_frame_info info = {};
  for (size_t k = 0; k < packets.size(); k++) {
    packet bytes = k < lost.size() && lost[k] ? erasure : packets[k];
    const kelp_packet_desc in = {bytes.data(), 0, static_cast<int32_t>(bytes.size())};
    kelp_pcm_frame frame = {};
    frame.samples[0] = &pcm[k * kFrameSamples];
    check(kelpd_decode(decoder.get(), &in, &frame, &info) == KELP_OK);
  }
  return pcm;
}

std::vector<double> coded_speech(std::span<const int16_t> pcm) {
  preprocess_state filter = {};
  std::vector<double> target(pcm.size() / kFrameSamples * kFrameSamples + KELP_LOOKAHEAD_SAMPLES);
  int32_t filtered[kFrameSamples];
  for (size_t at = 0; at + kFrameSamples <= pcm.size(); at += kFrameSamples) {
    kelp_pre_proc(&filter, &pcm[at], filtered);
    scale_speech(filtered);
    for (size_t n = 0; n < kFrameSamples; n++) {
      target[at + KELP_LOOKAHEAD_SAMPLES + n] = 4.0 * filtered[n];  // the encoder's quarter level
    }
  }
  return target;
}

}  // namespace kelp::quality
