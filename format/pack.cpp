// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "format/pack.h"

#include <cstring>

namespace kelp {
namespace {

// Byte i of the packet just written; one beyond a short buffer counts as 0.
uint32_t packet_byte(const kcmn_bsw_state *writer, int32_t i) {
  return i < writer->size ? writer->start[i] : 0;
}

// The four filler bits of an eighth-rate packet are single-bit writes of seed & 0x8000, 0x800, 0x80
// and 8. A single-bit write sends bit 0, so what goes out is always 0.
uint32_t filler_bits(uint32_t seed, const payload_piece &piece) {
  return seed & (0x8000U >> (4 * piece.index));
}

}  // namespace

void kelpe_pack_cb(int32_t rate, const codebook_codes &result, payload_codes *packing,
                   int subframe) {
  packing->cb_gain[subframe] = result.gain;
  if (rate == KELP_RATE_EIGHTH || rate == KELP_RATE_QUARTER) return;
  packing->cb_sign[subframe] = result.sign;
  packing->cb_idx[subframe] = result.sign == 1 ? (result.index + 89) % 128 : result.index;
}

void kelpe_pack(int32_t rate, const payload_codes &packing, kcmn_bsw_state *writer,
                uint32_t *seed) {
  std::memset(writer->start, 0, static_cast<size_t>(writer->size));
  if (rate == KELP_RATE_QUARTER) return;  // decoded only
  const auto layout = payload_layout(static_cast<uint32_t>(rate));
  if (layout.empty()) return;

  kcmn_bsw_write(writer, static_cast<uint32_t>(rate), 8);
  for (const payload_piece &piece : layout) {
    uint32_t value = 0;
    if (piece.field == payload_field::filler) {
      value = filler_bits(*seed, piece);
    } else if (piece.field != payload_field::check) {
      value = payload_word(packing, piece) >> piece.low;
    }
    kcmn_bsw_write(writer, value, piece.width);
  }
  while (writer->room != 8 && kcmn_bsw_write1(writer, 0) == 0) {
  }
  if (rate == KELP_RATE_EIGHTH) {
    *seed = (packet_byte(writer, 1) << 8) | packet_byte(writer, 2);
  }
}

}  // namespace kelp
