// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// The quantizer codes that one packet carries, and their places in the packet of each rate.
#ifndef KELP_FORMAT_PAYLOAD_H
#define KELP_FORMAT_PAYLOAD_H

#include <cstdint>
#include <span>

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

// The word of `codes` (const or not) that a piece belongs to. Not for fillers and checks.
template <typename Codes>
auto &payload_word(Codes &codes, const payload_piece &piece) {
  switch (piece.field) {
    case payload_field::lsp_bit: return codes.lsp_bit[piece.index];
    case payload_field::lsp_idx: return codes.lsp_idx[piece.index];
    case payload_field::pitch_lag: return codes.pitch_lag[piece.index];
    case payload_field::pitch_frac: return codes.pitch_frac[piece.index];
    case payload_field::pitch_gain: return codes.pitch_gain[piece.index];
    case payload_field::cb_idx: return codes.cb_idx[piece.index];
    case payload_field::cb_sign: return codes.cb_sign[piece.index];
    default: return codes.cb_gain[piece.index];
  }
}

}  // namespace kelp

#endif  // KELP_FORMAT_PAYLOAD_H
