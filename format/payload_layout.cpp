// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// Where each code stands in the packet. The order follows the standard's interleaving, which
// spreads a code's bits so that a burst of errors hurts several codes a little.

#include <algorithm>

#include "format/payload.h"

namespace kelp {
namespace {

using enum payload_field;

// field, index, lowest bit, width
constexpr payload_piece kFullRate[] = {
    // clang-format off
    {lsp_idx, 2, 0, 3}, {lsp_idx, 1, 0, 7}, {lsp_idx, 0, 0, 6}, {lsp_idx, 4, 0, 6},
    {lsp_idx, 3, 0, 6}, {lsp_idx, 2, 3, 4}, {cb_sign, 0, 0, 1}, {cb_gain, 0, 0, 4},
    {pitch_frac, 0, 0, 1}, {pitch_lag, 0, 0, 7}, {pitch_gain, 0, 0, 3}, {cb_idx, 1, 0, 4},
    {cb_sign, 1, 0, 1}, {cb_gain, 1, 0, 4}, {cb_idx, 0, 0, 7}, {cb_gain, 3, 0, 1},
    {cb_idx, 2, 0, 7}, {cb_sign, 2, 0, 1}, {cb_gain, 2, 0, 4}, {cb_idx, 1, 4, 3},
    {pitch_lag, 1, 0, 3}, {pitch_gain, 1, 0, 3}, {cb_idx, 3, 0, 7}, {cb_sign, 3, 0, 1},
    {cb_gain, 3, 1, 2}, {cb_idx, 4, 0, 6}, {cb_sign, 4, 0, 1}, {cb_gain, 4, 0, 4},
    {pitch_frac, 1, 0, 1}, {pitch_lag, 1, 3, 4}, {cb_gain, 6, 0, 3}, {cb_idx, 5, 0, 7},
    {cb_sign, 5, 0, 1}, {cb_gain, 5, 0, 4}, {cb_idx, 4, 6, 1}, {cb_idx, 7, 0, 3},
    {cb_sign, 7, 0, 1}, {cb_gain, 7, 0, 3}, {cb_idx, 6, 0, 7}, {cb_sign, 6, 0, 1},
    {cb_gain, 6, 3, 1}, {cb_gain, 8, 0, 1}, {pitch_frac, 2, 0, 1}, {pitch_lag, 2, 0, 7},
    {pitch_gain, 2, 0, 3}, {cb_idx, 7, 3, 4}, {cb_sign, 9, 0, 1}, {cb_gain, 9, 0, 4},
    {cb_idx, 8, 0, 7}, {cb_sign, 8, 0, 1}, {cb_gain, 8, 1, 3}, {cb_idx, 10, 0, 4},
    {cb_sign, 10, 0, 1}, {cb_gain, 10, 0, 4}, {cb_idx, 9, 0, 7}, {pitch_gain, 3, 0, 2},
    {cb_idx, 11, 0, 7}, {cb_sign, 11, 0, 1}, {cb_gain, 11, 0, 3}, {cb_idx, 10, 4, 3},
    {cb_idx, 12, 0, 2}, {cb_sign, 12, 0, 1}, {cb_gain, 12, 0, 4}, {pitch_frac, 3, 0, 1},
    {pitch_lag, 3, 0, 7}, {pitch_gain, 3, 2, 1}, {cb_idx, 13, 0, 6}, {cb_sign, 13, 0, 1},
    {cb_gain, 13, 0, 4}, {cb_idx, 12, 2, 5}, {cb_gain, 15, 0, 3}, {cb_idx, 14, 0, 7},
    {cb_sign, 14, 0, 1}, {cb_gain, 14, 0, 4}, {cb_idx, 13, 6, 1}, {check, 0, 0, 2},
    {cb_idx, 15, 0, 7}, {cb_sign, 15, 0, 1},  // clang-format on
};

constexpr payload_piece kHalfRate[] = {
    // clang-format off
    {lsp_idx, 2, 0, 3}, {lsp_idx, 1, 0, 7}, {lsp_idx, 0, 0, 6}, {lsp_idx, 4, 0, 6},
    {lsp_idx, 3, 0, 6}, {lsp_idx, 2, 3, 4}, {cb_sign, 0, 0, 1}, {cb_gain, 0, 0, 4},
    {pitch_frac, 0, 0, 1}, {pitch_lag, 0, 0, 7}, {pitch_gain, 0, 0, 3}, {pitch_lag, 1, 0, 6},
    {pitch_gain, 1, 0, 3}, {cb_idx, 0, 0, 7}, {pitch_gain, 2, 0, 2}, {cb_idx, 1, 0, 7},
    {cb_sign, 1, 0, 1}, {cb_gain, 1, 0, 4}, {pitch_frac, 1, 0, 1}, {pitch_lag, 1, 6, 1},
    {cb_idx, 2, 0, 2}, {cb_sign, 2, 0, 1}, {cb_gain, 2, 0, 4}, {pitch_frac, 2, 0, 1},
    {pitch_lag, 2, 0, 7}, {pitch_gain, 2, 2, 1}, {pitch_frac, 3, 0, 1}, {pitch_lag, 3, 0, 7},
    {pitch_gain, 3, 0, 3}, {cb_idx, 2, 2, 5}, {cb_idx, 3, 0, 7}, {cb_sign, 3, 0, 1},
    {cb_gain, 3, 0, 4},  // clang-format on
};

// The first four gains run backwards.
constexpr payload_piece kQuarterRate[] = {
    {lsp_idx, 2, 0, 3}, {lsp_idx, 1, 0, 7}, {lsp_idx, 0, 0, 6}, {lsp_idx, 4, 0, 6},
    {lsp_idx, 3, 0, 6}, {lsp_idx, 2, 3, 4}, {cb_gain, 3, 0, 4}, {cb_gain, 2, 0, 4},
    {cb_gain, 1, 0, 4}, {cb_gain, 0, 0, 4}, {filler, 0, 0, 2},  {cb_gain, 4, 0, 4},
};

constexpr payload_piece kEighthRate[] = {
    {filler, 0, 0, 1}, {lsp_bit, 0, 0, 1}, {lsp_bit, 1, 0, 1}, {lsp_bit, 2, 0, 1},
    {filler, 1, 0, 1}, {lsp_bit, 3, 0, 1}, {lsp_bit, 4, 0, 1}, {lsp_bit, 5, 0, 1},
    {filler, 2, 0, 1}, {lsp_bit, 6, 0, 1}, {lsp_bit, 7, 0, 1}, {lsp_bit, 8, 0, 1},
    {filler, 3, 0, 1}, {lsp_bit, 9, 0, 1}, {cb_gain, 0, 0, 2}, {check, 0, 0, 4},
};

constexpr int bits(std::span<const payload_piece> layout) {
  int sum = 0;
  for (const payload_piece &piece : layout) sum += piece.width;
  return sum;
}
static_assert(bits(kFullRate) == 266 && bits(kHalfRate) == 124);
static_assert(bits(kQuarterRate) == 54 && bits(kEighthRate) == 20);

// The same from where the bits are found in a whole packet.
template <size_t kPieces>
struct place_table {
  payload_place check;
  size_t count;
  payload_place codes[kPieces];
};

template <size_t kPieces>
consteval place_table<kPieces> find_places(const payload_piece (&layout)[kPieces]) {
  const int packet_bytes = (8 + bits(layout) + 7) / 8;
  place_table<kPieces> table{};
  int at = 8;  // behind the rate byte
  for (const payload_piece &piece : layout) {
    const int byte = std::min(at / 8, std::max(packet_bytes - 8, 0));
    const int shift = 64 - (at - 8 * byte) - piece.width - piece.low;
    const payload_place place = {static_cast<uint8_t>(byte), static_cast<uint8_t>(shift),
                                 static_cast<uint8_t>(((1 << piece.width) - 1) << piece.low), 0};
    if (piece.field == check) table.check = place;
    if (piece.field < filler) {
      payload_place &code = table.codes[table.count++];
      code = place;
      const size_t offset = kFieldOffset[static_cast<size_t>(piece.field)];
      code.word = static_cast<uint8_t>(offset / sizeof(uint32_t) + piece.index);
    }
    at += piece.width;
  }
  return table;
}
constexpr auto kFullRatePlaces = find_places(kFullRate);
constexpr auto kHalfRatePlaces = find_places(kHalfRate);
constexpr auto kQuarterRatePlaces = find_places(kQuarterRate);
constexpr auto kEighthRatePlaces = find_places(kEighthRate);

// A shift below 0, that of upper bits at a packet's very end, would be above 63 here.
consteval bool shifts_right(const auto &table) {
  return std::all_of(table.codes, table.codes + table.count,
                     [](const payload_place &place) { return place.shift < 64; });
}
static_assert(shifts_right(kFullRatePlaces) && shifts_right(kHalfRatePlaces));
static_assert(shifts_right(kQuarterRatePlaces) && shifts_right(kEighthRatePlaces));

// Of kPlacesTogether the last lies in the eight bytes of the first, and the next begin in them.
consteval bool lie_together(const auto &table) {
  for (size_t i = 0; i < table.count; i++) {
    const payload_place &first = table.codes[i / kPlacesTogether * kPlacesTogether];
    const payload_place &next = table.codes[std::min(i + 1, table.count - 1)];
    if (table.codes[i].shift < 8 * (table.codes[i].byte - first.byte)) return false;
    if (next.byte - first.byte >= 8) return false;
  }
  return true;
}
static_assert(lie_together(kFullRatePlaces) && lie_together(kHalfRatePlaces));
static_assert(lie_together(kEighthRatePlaces));

constexpr payload_places places(const auto &table) {
  return {table.check, {table.codes, table.count}};
}

}  // namespace

std::span<const payload_piece> payload_layout(uint32_t rate) {
  switch (rate) {
    case KELP_RATE_EIGHTH: return kEighthRate;
    case KELP_RATE_QUARTER: return kQuarterRate;
    case KELP_RATE_HALF: return kHalfRate;
    case KELP_RATE_FULL: return kFullRate;
    default: return {};
  }
}

payload_places places_in_packet(uint32_t rate) {
  switch (rate) {
    case KELP_RATE_EIGHTH: return places(kEighthRatePlaces);
    case KELP_RATE_QUARTER: return places(kQuarterRatePlaces);
    case KELP_RATE_HALF: return places(kHalfRatePlaces);
    case KELP_RATE_FULL: return places(kFullRatePlaces);
    default: return {};
  }
}

}  // namespace kelp
