// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// How a fuzz target reads its input: as decisions, one after another. Short inputs make long
// sequences, because faults of a codec's memory show only after several frames.
#ifndef KELP_FUZZ_FUZZING_H
#define KELP_FUZZ_FUZZING_H

#include <cstddef>
#include <cstdint>

#include "tests/handles.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

namespace kelp_fuzz {

using namespace kelp_test;

class input {
 public:
  input(const uint8_t *data, size_t size) : data_(data), size_(size) {}
  bool done() const { return size_ == 0; }
  // Whether there is one more frame to make; no input makes many, so that none takes long.
  bool next_frame() {
    constexpr int kMost = 64;
    if (done() || count_ == kMost) return false;
    count_++;
    frames++;
    return true;
  }
  static inline uint64_t frames = 0;  // of all inputs
  // 0 when nothing is left, as all below.
  uint8_t byte() {
    if (size_ == 0) return 0;
    size_--;
    return *data_++;
  }
  uint32_t below(uint32_t limit) { return byte() % limit; }
  uint32_t word() {
    const uint32_t high = byte();
    return high << 8 | byte();
  }
  packet bytes(size_t count) {
    packet result(count);
    for (uint8_t &each : result) each = byte();
    return result;
  }

 private:
  const uint8_t *data_;
  size_t size_;
  int count_ = 0;
};

// Changes bit `bit` of the packet, counted from its first byte's lowest and around its end.
inline void flip_bit(packet *bytes, uint32_t bit) {
  uint8_t &byte = (*bytes)[bit / 8 % bytes->size()];
  byte = static_cast<uint8_t>(byte ^ (1U << bit % 8));
}

// Synthetic speech, signals that are hard on fixed-point arithmetic, and what the input brings
// itself: a frame takes two or three bytes of it.
class signal_source {
 public:
  frame next(input *in);

 private:
  int32_t time_ = 0;  // samples, across frames
  random_numbers random_{1};
  double voice_[2] = {};  // the two resonances' last outputs
  frame last_ = {};
};

}  // namespace kelp_fuzz

#endif  // KELP_FUZZ_FUZZING_H
