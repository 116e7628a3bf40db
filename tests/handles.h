// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// What unit tests and fuzz targets share: random numbers, owned handles, packets. A broken promise
// ends the program, so that a fuzzer sees it too.
#ifndef KELP_TESTS_HANDLES_H
#define KELP_TESTS_HANDLES_H

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "dec/decoder_state.h"
#include "enc/encoder_state.h"
#include "format/pack.h"
#include "kelp.h"

namespace kelp_test {

using packet = std::vector<uint8_t>;
using pcm_samples = std::vector<int16_t>;
using frame = std::array<int16_t, KELP_FRAME_SAMPLES>;

constexpr uint32_t u32(int32_t value) {
  return static_cast<uint32_t>(value);
}

inline void require(bool holds, const char *what) {
  if (holds) return;
  std::fprintf(stderr, "broken: %s\n", what);
  std::abort();
}

// The same numbers everywhere (splitmix64).
class random_numbers {
 public:
  explicit random_numbers(uint64_t seed) : state_(seed) {}
  uint32_t next() {
    uint64_t z = state_ += 0x9E3779B97F4A7C15;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EB;
    return static_cast<uint32_t>(z >> 32);
  }
  uint32_t below(uint32_t limit) { return next() % limit; }
  int32_t between(int32_t low, int32_t high) {
    return static_cast<int32_t>(u32(low) + below(u32(high) - u32(low) + 1));
  }

 private:
  uint64_t state_;
};

inline constexpr kelp_config kDefaultConfig = {{0, 0, 0}, 0};

// A decoder with guards around the samples it writes.
class decoder {
 public:
  decoder() {
    kelp_init();
    handle = kelpd_create(&kDefaultConfig, nullptr);
  }
  decoder(const decoder &) = delete;
  ~decoder() { kelpd_delete(handle); }

  frame decode(const packet &bytes) {
    packet exact = bytes;  // a block of its own, so that a byte read too far is found
    constexpr int16_t kGuard = 0x5A5A;
    int16_t pcm[KELP_FRAME_SAMPLES + 2] = {kGuard};
    pcm[KELP_FRAME_SAMPLES + 1] = kGuard;
    kelp_packet_desc in = {exact.data(), 0, static_cast<int32_t>(exact.size())};
    kelp_pcm_frame out = {};
    out.samples[0] = pcm + 1;
    require(kelpd_decode(handle, &in, &out, &info) == KELP_OK, "every packet is decoded");
    require(info.produced == 1 && info.consumed >= 1 && info.consumed <= in.length,
            "one frame comes of no more than the packet");
    require(pcm[0] == kGuard && pcm[KELP_FRAME_SAMPLES + 1] == kGuard, "160 samples are written");
    frame result;
    std::copy_n(pcm + 1, KELP_FRAME_SAMPLES, result.begin());
    return result;
  }
  kelp::decoder_handle &internals() { return *static_cast<kelp::decoder_handle *>(handle); }
  kelp::decoder_state &state() { return internals().state; }

  void *handle;
  kelp_frame_info info = {0, 0, 0};
};

class encoder {
 public:
  encoder() {
    kelp_init();
    handle = kelpe_create(&kDefaultConfig, nullptr);
  }
  encoder(const encoder &) = delete;
  ~encoder() {
    if (handle != nullptr) kelpe_flush(handle);
    kelpe_delete(handle);
  }

  // The packet, or as much of it as `capacity` bytes hold; one byte more than that is at risk.
  packet encode(const int16_t *pcm, int32_t capacity = KELP_MAX_PACKET_BYTES) {
    constexpr uint8_t kGuard = 0x5A;
    packet bytes(static_cast<size_t>(capacity) + 1, kGuard);
    kelp_pcm_frame in = {};
    in.samples[0] = const_cast<int16_t *>(pcm);
    kelp_packet_desc out = {bytes.data(), 0, capacity};
    require(kelpe_encode(handle, &in, &out, &info) == KELP_OK, "every frame is encoded");
    require(info.consumed == 1 && info.produced >= 1 && info.produced <= capacity + 1,
            "one frame becomes a packet within its buffer and the byte after it");
    require(bytes.back() == kGuard || capacity < KELP_MAX_PACKET_BYTES, "35 bytes are enough");
    bytes.resize(static_cast<size_t>(std::min(info.produced, capacity)));
    return bytes;
  }

  kelp::encoder_state &state() { return static_cast<kelp::encoder_handle *>(handle)->state; }

  void *handle;
  kelp_frame_info info = {0, 0, 0};
};

// By how much the past excitation exceeds the difference between what the encoder believes it to
// be and what the decoder has.
inline double history_margin_db(encoder *encoder, decoder *decoder) {
  const int32_t *const ours = encoder->state().local_decoder.pitch.history;
  const int32_t *const theirs = decoder->state().synthesis.pitch.history;
  double signal = 1, difference = 1;
  for (int i = 0; i < kelp::kPitchHistory; i++) {
    signal += std::pow(theirs[i], 2);
    difference += std::pow(1.0 * ours[i] - theirs[i], 2);
  }
  return 10 * std::log10(signal / difference);
}

inline packet pack(int32_t rate, const kelp::payload_codes &codes) {
  packet bytes(KELP_MAX_PACKET_BYTES);
  kcmn_bsw_state writer;
  kcmn_bsw_init(&writer, bytes.data(), KELP_MAX_PACKET_BYTES, nullptr);
  uint32_t seed = 0;
  kelp::kelpe_pack(rate, codes, &writer, &seed);
  bytes.resize(static_cast<size_t>(writer.cur - writer.start));
  return bytes;
}

// A well-formed packet of random codes. The second pairs of the LSP codebooks are usable together.
inline packet random_speech_packet(random_numbers *random, int32_t rate) {
  kelp::payload_codes codes = {};
  for (uint32_t &bit : codes.lsp_bit) bit = random->below(2);
  for (int i = 0; i < 4; i++) {
    codes.pitch_lag[i] = random->below(128);
    codes.pitch_frac[i] = random->below(2);
    codes.pitch_gain[i] = random->below(4);
  }
  for (int k = 0; k < 16; k++) {
    codes.cb_idx[k] = random->below(128);
    codes.cb_gain[k] = rate == KELP_RATE_EIGHTH ? random->below(4) : random->below(8);
    codes.cb_sign[k] = random->below(2);
  }
  for (uint32_t &index : codes.lsp_idx) index = 1;
  return pack(rate, codes);
}

// A quarter-rate packet, which the library does not write: LSP indices and gains run on as bits.
constexpr std::array<uint32_t, 5> kUsableLsps = {1, 1, 1, 1, 1};
inline packet quarter_packet(const std::array<uint32_t, 5> &gains,
                             const std::array<uint32_t, 5> &lsp = kUsableLsps) {
  packet bytes(8);
  kcmn_bsw_state writer;
  kcmn_bsw_init(&writer, bytes.data(), 8, nullptr);
  const uint32_t fields[] = {KELP_RATE_QUARTER, lsp[2],   lsp[1],   lsp[0],   lsp[4],   lsp[3],
                             lsp[2] >> 3,       gains[3], gains[2], gains[1], gains[0], 3,
                             gains[4],          0};
  constexpr int32_t kBits[] = {8, 3, 7, 6, 6, 6, 4, 4, 4, 4, 4, 2, 4, 2};
  for (size_t i = 0; i < std::size(kBits); i++) kcmn_bsw_write(&writer, fields[i], kBits[i]);
  return bytes;
}

}  // namespace kelp_test

#endif  // KELP_TESTS_HANDLES_H
