// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// Numbers that stand for all that a build computes: every processor, compiler and optimisation
// level must come to the same ones.
#ifndef KELP_TESTS_CHECKSUMS_H
#define KELP_TESTS_CHECKSUMS_H

#include "tests/handles.h"

namespace kelp_test {

// FNV-1a over values, each by its eight bytes as a signed number.
class checksum {
 public:
  void add(int64_t value) {
    for (int i = 0; i < 8; i++) {
      value_ = (value_ ^ (static_cast<uint64_t>(value) >> (8 * i) & 0xFF)) * 0x100000001B3;
    }
  }
  template <typename Values>
  void add_all(const Values &values) {
    for (const auto &value : values) add(value);
  }
  uint64_t value() const { return value_; }

 private:
  uint64_t value_ = 0xCBF29CE484222325;
};

// Voices, noise and silence of integers alone: the same samples everywhere.
inline pcm_samples synthetic_speech(size_t frames) {
  random_numbers random(77);
  pcm_samples pcm(frames * KELP_FRAME_SAMPLES);
  int32_t y1 = 0, y2 = 0;
  for (size_t t = 0; t < pcm.size(); t++) {
    const size_t part = t / 8000;  // a second of each kind of sound
    const auto pitch = static_cast<size_t>(30 + 17 * part % 100);
    const int32_t level = 12000 >> part % 5;
    int32_t x = random.between(-level, level) >> (part % 3 == 1 ? 3 : 7);
    if (part % 3 == 0 && t % pitch == 0) x += 2 * level;
    if (part % 7 == 6) x = 0;
    const int32_t y = x + (27000 * y1 >> 14) - (14500 * y2 >> 14);
    y2 = y1;
    y1 = y;
    pcm[t] = static_cast<int16_t>(std::clamp(y, -32768, 32767));
  }
  return pcm;
}

// What a bad network may deliver.
inline packet broken_packet(random_numbers *random) {
  const uint32_t kind = random->below(10), gain = random->below(16);
  if (kind == 0) return {KELP_RATE_ERASURE};
  if (kind == 1) return quarter_packet({gain, gain, gain, gain, gain}, {gain * 4, 1, 1, 1, 1});
  if (kind < 6) {
    packet bytes = random_speech_packet(random, std::array{1, 3, 4, 4}[kind - 2]);
    if (kind == 5) bytes.resize(1 + random->below(40));
    return bytes;
  }
  packet bytes(1 + random->below(45));
  for (uint8_t &byte : bytes) byte = static_cast<uint8_t>(random->next());
  if (kind > 6) bytes[0] = static_cast<uint8_t>(1 + random->below(4));
  if (kind > 7 && bytes.size() > 33) bytes[33] &= 0x3F;
  return bytes;
}

struct speech_checksums {
  uint64_t packets, samples;
};

// Packets of a recording, and what a decoder makes of them that loses every seventh.
inline speech_checksums code_speech(const pcm_samples &pcm) {
  encoder encoder;
  decoder decoder;
  checksum packets, decoded;
  for (size_t f = 0; (f + 1) * KELP_FRAME_SAMPLES <= pcm.size(); f++) {
    const packet bytes = encoder.encode(&pcm[f * KELP_FRAME_SAMPLES]);
    packets.add_all(bytes);
    decoded.add_all(decoder.decode(f % 7 == 6 ? packet{KELP_RATE_ERASURE} : bytes));
  }
  return {packets.value(), decoded.value()};
}

// Samples, bytes read and codes of broken packets, a new stream for every thousand.
inline uint64_t decode_broken_packets(uint64_t count) {
  checksum sum;
  for (uint64_t first = 0; first < count; first += 1000) {
    random_numbers random(first);
    decoder decoder;
    for (uint64_t i = first; i < std::min(count, first + 1000); i++) {
      sum.add_all(decoder.decode(broken_packet(&random)));
      sum.add(decoder.info.consumed);
      uint8_t byte = 4;
      const kelp_packet_desc refused = {i % 2 ? &byte : nullptr, 0,
                                        static_cast<int32_t>(i % 2) - 1};
      sum.add(kelpd_decode(i % 3 ? decoder.handle : nullptr, &refused, nullptr, nullptr));
    }
  }
  return sum.value();
}

inline uint64_t exported_tables() {
  checksum sum;
  for (const kelp_lsp_pair *const table : kelp_tbl_vq_lsp) {
    const int rows = table == kelp_tbl_lspvq1 || table == kelp_tbl_lspvq2 ? 128 : 64;
    for (int i = 0; i < rows; i++) {
      sum.add(table[i].first);
      sum.add(table[i].second);
    }
  }
  const auto add = [&sum](const auto &...tables) { (sum.add_all(tables), ...); };
  add(tbl_bias, tbl_idx_lpcorder, kelp_tbl_ga, tbl_ga_8th_offset, kelp_tbl_cb, kelp_tbl_cb_half,
      kelp_tbl_cb_sf, kelp_tbl_pitch_sf, gain_tabl1, gain_tabl2, tbl_lsp_cos, tbl_lpc_bw_expand,
      tbl_lsp_interp[0], tbl_lsp_interp[1], tbl_lsp_interp[2], tbl_lsp_interp[3], tbl_lsp_interp[4],
      kelp_tbl_hammsinc, kelp_tbl_hammsinc_m, tbl_small_sinc, tbl_cosine_data, tbl_sine_data);
  return sum.value();
}

// The exported arithmetic on random and extreme numbers.
inline uint64_t arithmetic(int count) {
  static constexpr int32_t kExtremes[] = {INT32_MIN, -65536, -1, 0, 1, 32767, 1 << 30, INT32_MAX};
  random_numbers random(5);
  const auto number = [&random] {
    const auto any = static_cast<int32_t>(random.next());
    return random.below(4) == 0 ? kExtremes[random.below(8)] : any >> random.below(31);
  };
  checksum sum;
  for (int i = 0; i < count; i++) {
    const int32_t a = number(), b = number();
    const auto a16 = static_cast<int16_t>(a), b16 = static_cast<int16_t>(b);
    for (const auto f : {kelp_mul_32_32, kelp_div_32_32}) sum.add(f(a, b));
    for (const auto f : {kelp_log2, kelp_log, kelp_log10, kelp_inv_sqrt}) sum.add(f(a));
    sum.add_all(std::array<int32_t, 5>{kelp_mul_32_16(a, b16), kelp_div_16_16(a16, b16),
                                       kelp_squar_rt(a), kelp_norm_32(a), kelp_norm_16(a16)});
  }
  return sum.value();
}

}  // namespace kelp_test

#endif  // KELP_TESTS_CHECKSUMS_H
