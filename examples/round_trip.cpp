// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// Handles as C++17 classes that throw, and what the codec does to delay and level:
//
//     round_trip [LOSE_EVERY] < speech.s16      (8000 Hz, mono, 16 bit)
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <kelp.h>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

void check(int32_t code) {
  if (code != KELP_OK) throw std::runtime_error(kelp_result_text(code));
}

using frame = std::array<int16_t, KELP_FRAME_SAMPLES>;
using packet = std::vector<uint8_t>;
using signal = std::vector<double>;

// Creates a handle, and ends it: an encoder in two steps, a decoder in one.
template <auto create, auto... end>
class owner {
 public:
  owner() {
    int32_t code = kelp_init();  // cheap, and may be called again
    const kelp_config config = {};
    handle_.reset(create(&config, &code));
    check(code);
  }
  void *get() const { return handle_.get(); }

 private:
  struct ender {
    void operator()(void *handle) const { (end(handle), ...); }
  };
  std::unique_ptr<void, ender> handle_;
};

class encoder {
 public:
  packet encode(const frame &samples) {
    packet bytes(KELP_MAX_PACKET_BYTES);
    kelp_pcm_frame in = {};
    in.samples[0] = const_cast<int16_t *>(samples.data());  // the encoder only reads
    kelp_packet_desc out = {bytes.data(), 0, KELP_MAX_PACKET_BYTES};
    kelp_frame_info info = {};
    check(kelpe_encode(handle_.get(), &in, &out, &info));
    bytes.resize(static_cast<size_t>(info.produced));
    return bytes;
  }

 private:
  owner<kelpe_create, kelpe_flush, kelpe_delete> handle_;
};

class decoder {
 public:
  frame decode(packet bytes) {
    frame samples = {};
    const kelp_packet_desc in = {bytes.data(), 0, static_cast<int32_t>(bytes.size())};
    kelp_pcm_frame out = {};
    out.samples[0] = samples.data();
    kelp_frame_info info = {};
    check(kelpd_decode(handle_.get(), &in, &out, &info));
    return samples;
  }

  frame conceal() { return decode({KELP_RATE_ERASURE}); }

 private:
  owner<kelpd_create, kelpd_delete> handle_;
};

// The sum of products of `in` and of `out` from `delay` on.
double product(const signal &in, const signal &out, size_t delay) {
  double sum = 0;
  for (size_t n = 0; n + delay < out.size(); n++) sum += in[n] * out[n + delay];
  return sum;
}

void round_trip(size_t lose_every) {
  encoder sender;
  decoder receiver;
  signal in, out;
  size_t bytes = 0, frames = 0;
  frame speech = {};
  while (std::fread(speech.data(), sizeof speech[0], speech.size(), stdin) == speech.size()) {
    const packet sent = sender.encode(speech);
    const bool lost = lose_every > 0 && ++frames % lose_every == 0;
    in.insert(in.end(), speech.begin(), speech.end());
    const frame heard = lost ? receiver.conceal() : receiver.decode(sent);
    out.insert(out.end(), heard.begin(), heard.end());
    bytes += sent.size();
  }
  if (!(product(in, in, 0) > 0)) throw std::runtime_error("no sound in the input");

  size_t delay = 0;
  for (size_t d = 1; d < KELP_FRAME_SAMPLES; d++)
    if (product(in, out, d) > product(in, out, delay)) delay = d;
  const double level = std::sqrt(product(out, out, 0) / product(in, in, 0));
  std::printf("delay %zu samples, level %.3f, %zu bit/s\n", delay, level,
              8 * bytes * KELP_SAMPLE_RATE_HZ / in.size());
}

}  // namespace

int main(int argc, char **argv) {
  try {
    round_trip(argc > 1 ? std::stoul(argv[1]) : 0);
  } catch (const std::exception &problem) {
    std::fprintf(stderr, "round_trip: %s\n", problem.what());
    return EXIT_FAILURE;
  }
}
