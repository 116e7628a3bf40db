// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// The quantizer codes that one packet carries, and their places in the packet of each rate.
#ifndef KELP_FORMAT_PAYLOAD_H
#define KELP_FORMAT_PAYLOAD_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>

#include "kelp.h"

namespace kelp {

// One record serves packer and unpacker. Fields that a rate does not carry are 0.
struct payload_codes {
  uint32_t lsp_bit[10];    // eighth rate: one bit per LSP
  uint32_t lsp_idx[5];     // other rates: split codebook indices of 6, 7, 7, 6, 6 bits
  uint32_t pitch_lag[4];   // 7 bits per pitch subframe, full and half rate
  uint32_t pitch_frac[4];  // 1 bit
  uint32_t pitch_gain[4];  // 3 bits
  uint32_t cb_idx[16];     // 7 bits per codebook subframe: 16 at full rate, 4 at half
  uint32_t cb_gain[16];    // 4 or 3 bits; five of 4 at quarter rate, one of 2 at eighth
  uint32_t cb_sign[16];    // 1 bit
};

enum class payload_field : uint8_t {
  lsp_bit,
  lsp_idx,
  pitch_lag,
  pitch_frac,
  pitch_gain,
  cb_idx,
  cb_gain,
  cb_sign,
  filler,  // written as 0, not read
  check,   // written as 0; anything else makes the frame an erasure
};

// A run of bits in the packet: `width` bits of field[index], from its bit `low` up.
struct payload_piece {
  payload_field field;
  uint8_t index;
  uint8_t low;
  uint8_t width;
};

// The pieces of a rate's payload in packet order, its padding left out; empty for other codes.
std::span<const payload_piece> payload_layout(uint32_t rate);

// The same run of bits in a whole packet: eight bytes from `byte` on, the first of them highest (in
// an eighth-rate packet its four and zeros), shifted right and masked, are bits of word `word` of
// the codes.
struct payload_place {
  uint8_t byte, shift, mask, word;
};
struct payload_places {
  payload_place check;  // its mask is 0 where there is none
  std::span<const payload_place> codes;
};
payload_places places_in_packet(uint32_t rate);
// So many codes in a row lie within eight bytes, with some of those behind them to spare.
inline constexpr size_t kPlacesTogether = 8;

// Where each field of the codes starts.
inline constexpr uint16_t kFieldOffset[] = {
    offsetof(payload_codes, lsp_bit),    offsetof(payload_codes, lsp_idx),
    offsetof(payload_codes, pitch_lag),  offsetof(payload_codes, pitch_frac),
    offsetof(payload_codes, pitch_gain), offsetof(payload_codes, cb_idx),
    offsetof(payload_codes, cb_gain),    offsetof(payload_codes, cb_sign)};

// The word of `codes` that a piece belongs to. Not for fillers and checks.
inline const uint32_t &payload_word(const payload_codes &codes, const payload_piece &piece) {
  const size_t offset = kFieldOffset[static_cast<size_t>(piece.field)];
  const auto *const field = reinterpret_cast<const char *>(&codes) + offset;
  return reinterpret_cast<const uint32_t *>(field)[piece.index];
}
inline uint32_t &payload_word(payload_codes &codes, const payload_piece &piece) {
  return const_cast<uint32_t &>(payload_word(std::as_const(codes), piece));
}

}  // namespace kelp

#endif  // KELP_FORMAT_PAYLOAD_H
