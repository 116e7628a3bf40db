// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "tools/kelp/codec.h"

#include <string>

#include "tools/kelp/failure.h"

namespace {

void check(int32_t code, const char *what) {
  if (code != KELP_OK) throw Failure(std::string(what) + ": " + kelp_result_text(code));
}

// `create` is kelpe_create or kelpd_create.
template <typename Handle, typename Create>
void start(Handle *handle, Create create, const char *failure) {
  const kelp_config config = {};
  int32_t code = KELP_OK;
  handle->reset(create(&config, &code));
  check(code, failure);
}

}  // namespace

void Encoder::Delete::operator()(void *handle) const {
  kelpe_flush(handle);
  kelpe_delete(handle);
}

Encoder::Encoder() {
  start(&handle_, kelpe_create, "the encoder cannot start");
}

Packet Encoder::encode(SpeechFrame &speech) {
  kelp_pcm_frame frame = {};
  frame.samples[0] = speech.data();
  Packet packet;
  kelp_packet_desc out = {packet.bytes.data(), 0, KELP_MAX_PACKET_BYTES};
  kelp_frame_info info = {};
  check(kelpe_encode(handle_.get(), &frame, &out, &info), "a frame cannot be encoded");
  packet.length = info.produced;
  return packet;
}

void Decoder::Delete::operator()(void *handle) const {
  kelpd_delete(handle);
}

Decoder::Decoder() {
  start(&handle_, kelpd_create, "the decoder cannot start");
}

std::span<const int16_t> Decoder::decode(Packet packet) {
  const kelp_packet_desc in = {packet.bytes.data(), 0, packet.length};
  kelp_pcm_frame frame = {};
  frame.samples[0] = speech_.data();
  kelp_frame_info info = {};
  check(kelpd_decode(handle_.get(), &in, &frame, &info), "a packet cannot be decoded");
  return speech_;
}
