// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// What the tests share: random numbers, owned handles, packets.
#ifndef KELP_TESTS_SUPPORT_H
#define KELP_TESTS_SUPPORT_H

#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "dec/decoder_state.h"
#include "format/pack.h"
#include "kelp.h"

namespace kelp_test {

using packet = std::vector<uint8_t>;
using samples = std::vector<int16_t>;
using frame = std::array<int16_t, KELP_FRAME_SAMPLES>;

constexpr int32_t kMin32 = INT32_MIN;
constexpr int32_t kMax32 = INT32_MAX;

// Cases of N numbers, arguments first.
template <size_t N>
using rows = std::vector<std::array<int32_t, N>>;

constexpr uint32_t u32(int32_t value) {
  return static_cast<uint32_t>(value);
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

  frame decode(packet bytes) {
    constexpr int16_t kGuard = 0x5A5A;
    int16_t pcm[KELP_FRAME_SAMPLES + 2] = {kGuard};
    pcm[KELP_FRAME_SAMPLES + 1] = kGuard;
    kelp_packet_desc in = {bytes.data(), 0, static_cast<int32_t>(bytes.size())};
    kelp_pcm_frame out = {};
    out.samples[0] = pcm + 1;
    EXPECT_EQ(kelpd_decode(handle, &in, &out, &info), KELP_OK);
    EXPECT_TRUE(pcm[0] == kGuard && pcm[KELP_FRAME_SAMPLES + 1] == kGuard);
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

  packet encode(const int16_t *pcm) {
    packet bytes(KELP_MAX_PACKET_BYTES);
    kelp_pcm_frame in = {};
    in.samples[0] = const_cast<int16_t *>(pcm);
    kelp_packet_desc out = {bytes.data(), 0, KELP_MAX_PACKET_BYTES};
    EXPECT_EQ(kelpe_encode(handle, &in, &out, &info), KELP_OK);
    bytes.resize(static_cast<size_t>(info.produced));
    return bytes;
  }

  void *handle;
  kelp_frame_info info = {0, 0, 0};
};

// A random choice from the LSP codebooks, and the LSPs that it stands for.
inline void random_lsps(random_numbers *random, uint32_t index[5], int32_t lsp[10]) {
  int32_t sum = 0;
  for (int m = 0; m < 5; m++) {
    index[m] = random->below(m == 1 || m == 2 ? 128 : 64);
    lsp[2 * m] = sum += kelp_tbl_vq_lsp[m][index[m]].first;
    lsp[2 * m + 1] = sum += kelp_tbl_vq_lsp[m][index[m]].second;
  }
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

#endif  // KELP_TESTS_SUPPORT_H
