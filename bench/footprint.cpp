// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// What a codec takes of memory, over all recordings:   kelp_footprint
//
//   heap   bytes asked of malloc, which the linker hands to this file (--wrap)
//   stack  how far a call goes below the frame of its caller, on a thread whose stack is painted
//          before; the largest over all frames. Includes that frame's own locals, and in create
//          what malloc takes.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <thread>
#include <vector>

#include "bench/speech.h"
#include "kelp.h"
#include "tests/handles.h"
#include "tools/quality/codec.h"

static std::vector<size_t> *requests = nullptr;

extern "C" {
void *__real_malloc(size_t size);
void *__wrap_malloc(size_t size) {
  if (requests != nullptr) requests->push_back(size);
  return __real_malloc(size);
}
}

namespace {

using kelp::quality::packet;

constexpr kelp_config kConfig = {};
constexpr uintptr_t kPainted = 64 * 1024;
constexpr uintptr_t kOwn = 256;  // what painting itself needs; no call here is that shallow
constexpr uint8_t kPaint = 0xA5;

// Bytes below this function's frame that are painted and then found changed by work(). Both loops
// go through addresses: to the compiler there is nothing below the frame. No instrumentation: this
// is memory that is nobody's.
template <typename Work>
[[gnu::noinline]] uintptr_t stack_depth(const Work &work) {
  const auto frame = reinterpret_cast<uintptr_t>(__builtin_frame_address(0));
  const auto byte = [](uintptr_t at) { return reinterpret_cast<volatile uint8_t *>(at); };
  for (uintptr_t below = kOwn; below <= kPainted; below++) *byte(frame - below) = kPaint;
  work();
  uintptr_t below = kPainted;
  while (below > kOwn && *byte(frame - below) == kPaint) below--;
  return below;
}

// As above at its largest over calls 0 .. count - 1, the first of which is made once before, so
// that what is bound at the first call does not count.
template <typename Work>
uintptr_t largest_depth(size_t count, const Work &work) {
  uintptr_t largest = 0;
  std::thread([&] {
    work(0);
    for (size_t k = 0; k < count; k++) largest = std::max(largest, stack_depth([&] { work(k); }));
  }).join();
  return largest;
}

void print_heap(const char *name, const std::function<void()> &create) {
  std::vector<size_t> sizes;
  sizes.reserve(8);
  requests = &sizes;
  create();
  requests = nullptr;
  size_t sum = 0;
  for (const size_t size : sizes) sum += size;
  std::printf("%-8s heap   %6zu bytes in %zu blocks:", name, sum, sizes.size());
  for (const size_t size : sizes) std::printf(" %zu", size);
  std::printf("\n");
}

void print_stack(const char *name, uintptr_t create, uintptr_t code) {
  std::printf("%-8s stack  %6zu bytes in create, %zu per frame\n", name,
              static_cast<size_t>(create), static_cast<size_t>(code));
}

void measure_encoder(const std::vector<int16_t> &pcm) {
  std::vector<void *> made(2);
  const uintptr_t create =
      largest_depth(1, [&](size_t) { made.push_back(kelpe_create(&kConfig, nullptr)); });
  void *const encoder = made.back();
  uint8_t bytes[KELP_MAX_PACKET_BYTES];
  kelp_frame_info info = {};
  kelp_packet_desc out = {bytes, 0, KELP_MAX_PACKET_BYTES};
  kelp_pcm_frame in = {};
  const uintptr_t encode = largest_depth(pcm.size() / KELP_FRAME_SAMPLES, [&](size_t k) {
    in.samples[0] = const_cast<int16_t *>(&pcm[k * KELP_FRAME_SAMPLES]);
    kelpe_encode(encoder, &in, &out, &info);
  });
  print_stack("encoder", create, encode);
}

void measure_decoder(const std::vector<packet> &packets) {
  std::vector<void *> made(2);
  const uintptr_t create =
      largest_depth(1, [&](size_t) { made.push_back(kelpd_create(&kConfig, nullptr)); });
  void *const decoder = made.back();
  int16_t pcm[KELP_FRAME_SAMPLES];
  kelp_frame_info info = {};
  kelp_pcm_frame out = {};
  out.samples[0] = pcm;
  const uintptr_t decode = largest_depth(packets.size(), [&](size_t k) {
    const kelp_packet_desc in = {const_cast<uint8_t *>(packets[k].data()), 0,
                                 static_cast<int32_t>(packets[k].size())};
    kelpd_decode(decoder, &in, &out, &info);
  });
  print_stack("decoder", create, decode);
}

}  // namespace

int main() {
  kelp_init();
  const kelp::bench::speech speech = kelp::bench::load_speech();
  // What the encoder sends, and what it does not: losses and quarter rate.
  std::vector<packet> packets = kelp::quality::encode(speech.recordings);
  kelp_test::random_numbers random(1);
  for (int k = 0; k < 500; k++) {
    packets.push_back({KELP_RATE_ERASURE});
    packet &quarter = packets.emplace_back(kelp_packet_bytes(KELP_RATE_QUARTER));
    for (uint8_t &byte : quarter) byte = static_cast<uint8_t>(random.below(256));
    quarter[0] = KELP_RATE_QUARTER;
  }
  print_heap("encoder", [] { kelpe_create(&kConfig, nullptr); });
  print_heap("decoder", [] { kelpd_create(&kConfig, nullptr); });
  measure_encoder(speech.recordings);
  measure_decoder(packets);
  return 0;
}
