// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "format/pack.h"

#include <algorithm>
#include <cstring>
#include <span>

#include "common/bit_stream.h"

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

// Writes a packet into a buffer that has room for it. False, with nothing written, where it has not
// or somebody wants to hear of every byte.
bool pack_whole(int32_t rate, const payload_codes &packing, kcmn_bsw_state *writer) {
  const int32_t size = kelp_packet_bytes(static_cast<uint8_t>(rate));
  const bool fresh = writer->cur == writer->start && writer->room == 8;
  if (writer->size < size || !fresh || writer->on_byte != nullptr) return false;
  uint8_t padded[8];
  uint8_t *const packet = size < 8 ? padded : writer->start;
  const auto *const words = reinterpret_cast<const char *>(&packing);

  uint64_t bits = 0;
  int at = 0;  // the first byte of eight whose bits are gathered
  for (auto places = places_in_packet(static_cast<uint32_t>(rate)).codes; !places.empty();) {
    const auto group = places.first(std::min(kPlacesTogether, places.size()));
    bits <<= 8 * (group[0].byte - at);
    at = group[0].byte;
    for (const payload_place &place : group) {
      const uint64_t code = reinterpret_cast<const uint32_t *>(words)[place.word] & place.mask;
      bits |= code << (place.shift - 8 * (place.byte - at));
    }
    store_eight_bytes(packet + at, bits);
    places = places.subspan(group.size());
  }
  packet[0] = static_cast<uint8_t>(rate);
  if (size < 8) std::copy_n(padded, size, writer->start);
  std::memset(writer->start + size, 0, static_cast<size_t>(writer->size - size));
  writer->cur += size;
  return true;
}

// Writes as much of it as there is room for.
void pack_pieces(int32_t rate, const payload_codes &packing, std::span<const payload_piece> layout,
                 uint32_t seed, kcmn_bsw_state *writer) {
  std::memset(writer->start, 0, static_cast<size_t>(writer->size));
  kcmn_bsw_write(writer, static_cast<uint32_t>(rate), 8);
  for (const payload_piece &piece : layout) {
    uint32_t value = 0;
    if (piece.field == payload_field::filler) {
      value = filler_bits(seed, piece);
    } else if (piece.field != payload_field::check) {
      value = payload_word(packing, piece) >> piece.low;
    }
    kcmn_bsw_write(writer, value, piece.width);
  }
  while (writer->room != 8 && kcmn_bsw_write1(writer, 0) == 0) {
  }
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
  const auto layout = payload_layout(static_cast<uint32_t>(rate));
  if (rate == KELP_RATE_QUARTER || layout.empty()) {  // decoded only, or not at all
    std::memset(writer->start, 0, static_cast<size_t>(writer->size));
    return;
  }
  if (!pack_whole(rate, packing, writer)) pack_pieces(rate, packing, layout, *seed, writer);
  if (rate == KELP_RATE_EIGHTH) {
    *seed = (packet_byte(writer, 1) << 8) | packet_byte(writer, 2);
  }
}

}  // namespace kelp
