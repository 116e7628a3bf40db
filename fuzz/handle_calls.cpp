// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// Calls in any legal order on several handles of both kinds. What a handle gives must not depend on
// the others: its own calls once more, alone, give the same.

#include "fuzz/fuzzing.h"

using namespace kelp_fuzz;

namespace {

struct step {
  uint8_t action, parameter;
};

// One handle, or none yet, and a hash of all it gave.
class stream {
 public:
  stream() = default;
  stream(const stream &) = delete;
  ~stream() { remove(); }
  void act(step next);
  uint64_t hash = 0xCBF29CE484222325;

 private:
  void create(bool encodes, uint32_t option);
  void remove();
  void renew_work_area();
  void set_operations(bool present);
  void process(uint8_t parameter);
  void misuse(uint8_t parameter);
  int32_t call(void *handle, uint8_t *data, int32_t length);

  void *handle_ = nullptr;
  bool encodes_ = false;
  bool operations_ = false;
  int16_t pcm_[KELP_FRAME_SAMPLES] = {};
  kelp_frame_info info_ = {0, 0, 0};
};

void stream::create(bool encodes, uint32_t option) {
  remove();
  const kelp_config config = {{7, 8, 9}, option};
  int32_t code = 99;
  handle_ = (encodes ? kelpe_create : kelpd_create)(&config, &code);
  require(code == (option == 0 ? KELP_OK : KELP_ERR_CONFIG), "create tells what it did");
  require((handle_ != nullptr) == (code == KELP_OK), "a failed create gives no handle");
  encodes_ = encodes;
  operations_ = handle_ != nullptr;
}

void stream::remove() {
  if (handle_ == nullptr) return;
  set_operations(true);
  if (encodes_) kelpe_flush(handle_);
  (encodes_ ? kelpe_delete : kelpd_delete)(handle_);
  handle_ = nullptr;
}

void stream::renew_work_area() {
  if (handle_ == nullptr) return;
  (encodes_ ? kelpe_flush : kelpd_flush)(handle_);
  require((encodes_ ? kelpe_ready : kelpd_ready)(handle_) == KELP_OK, "a new work area");
}

void stream::set_operations(bool present) {
  if (handle_ == nullptr) return;
  if (!present) {
    (encodes_ ? kelpe_platform_deinit : kelpd_platform_deinit)(handle_);
    operations_ = false;
    return;
  }
  require((encodes_ ? kelpe_platform_init : kelpd_platform_init)(handle_) == KELP_OK, "put back");
  operations_ = true;
}

int32_t stream::call(void *handle, uint8_t *data, int32_t length) {
  kelp_packet_desc packet = {nullptr, 0, length};
  packet.data = data;
  kelp_pcm_frame frame = {};
  frame.samples[0] = pcm_;
  return encodes_ ? kelpe_encode(handle, &frame, &packet, &info_)
                  : kelpd_decode(handle, &packet, &frame, &info_);
}

// A packet or frame of random bits; the encoder's result goes on as its own next input.
void stream::process(uint8_t parameter) {
  random_numbers random(parameter);
  packet bytes(KELP_MAX_PACKET_BYTES);
  if (encodes_) {
    for (int16_t &sample : pcm_) sample = static_cast<int16_t>(random.next() >> parameter % 16);
  } else {
    bytes = random_speech_packet(&random, parameter % 4 ? 4 : parameter % 8 ? 3 : 1);
  }
  const uint64_t calls = info_.calls;
  const int32_t code = call(handle_, bytes.data(), static_cast<int32_t>(bytes.size()));
  const bool able = handle_ != nullptr && operations_;
  require(code == (able ? KELP_OK : KELP_ERR_HANDLE), "the code of a frame");
  require(info_.calls == calls + (able ? 1 : 0), "frames that succeed are counted");
  const auto mix = [this](auto value) {
    hash = (hash ^ static_cast<uint64_t>(value)) * 0x100000001B3;
  };
  for (const uint8_t byte : bytes) mix(byte);
  for (const int16_t sample : pcm_) mix(sample);
}

// Calls that are refused and change nothing.
void stream::misuse(uint8_t parameter) {
  uint8_t byte = 0x77;
  require(call(nullptr, &byte, 1) == KELP_ERR_HANDLE, "no handle");
  if (handle_ == nullptr) return;
  require(call(handle_, nullptr, 35) == KELP_ERR_ARGUMENT, "no packet");
  require(call(handle_, &byte, -parameter) == KELP_ERR_ARGUMENT, "no bytes");
  encodes_ = !encodes_;
  require(call(handle_, &byte, 1) == KELP_ERR_HANDLE, "the other kind's call");
  encodes_ = !encodes_;
  (encodes_ ? kelpd_delete : kelpe_delete)(handle_);
  require(byte == 0x77, "refused calls write nothing");
}

void stream::act(step next) {
  switch (next.action % 16) {
    case 0: return create(next.parameter % 2 != 0, next.parameter > 240 ? 1 : 0);
    case 1: return remove();
    case 2: return renew_work_area();
    case 3: return set_operations(false);
    case 4: return set_operations(true);
    case 5: return misuse(next.parameter);
    default: return process(next.parameter);
  }
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  constexpr size_t kStreams = 4;
  kelp_init();
  input in(data, size);
  stream together[kStreams];
  std::vector<step> scripts[kStreams];
  while (in.next_frame()) {
    const uint32_t which = in.below(kStreams);
    const step next = {in.byte(), in.byte()};
    together[which].act(next);
    scripts[which].push_back(next);
  }
  for (size_t i = 0; i < kStreams; i++) {
    stream alone;
    for (const step next : scripts[i]) alone.act(next);
    require(alone.hash == together[i].hash, "a handle gives the same alone");
  }
  return 0;
}
