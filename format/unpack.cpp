// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "format/unpack.h"

#include <algorithm>

#include "common/bit_stream.h"

namespace kelp {
namespace {

// Reads a packet that is whole and passes its check, as nearly all do, with its padding. False when
// it is another one, with nothing read.
bool unpack_whole(kcmn_bsr_state *reader, kelpd_frame_params *params) {
  if (reader->count != 0 || reader->refill != kcmn_bsr_flush || bytes_left(reader) < 1)
    return false;
  const uint8_t *packet = reader->cur;
  const uint8_t rate = packet[0];
  const int32_t size = kelp_packet_bytes(rate);
  if (bytes_left(reader) < size) return false;
  uint8_t padded[8] = {};
  if (size < 8) {
    std::copy_n(packet, size, padded);
    packet = padded;
  }
  const auto code = [=](const payload_place &place) {
    return static_cast<uint32_t>(eight_bytes(packet + place.byte) >> place.shift) & place.mask;
  };
  const payload_places places = places_in_packet(rate);
  if (places.codes.empty() || code(places.check) != 0) return false;

  reader->cur += size;
  params->rate = rate;
  if (rate == KELP_RATE_EIGHTH) params->seed = packet[1] * 256U + packet[2];
  auto *const words = reinterpret_cast<char *>(&params->codes);
  for (const payload_place &place : places.codes) {
    reinterpret_cast<uint32_t *>(words)[place.word] |= code(place);
  }
  return true;
}

}  // namespace

int32_t kelpd_unpack(kcmn_bsr_state *reader, kelpd_frame_params *params) {
  if (unpack_whole(reader, params)) return 0;
  params->rate = kcmn_bsr_read(reader, 8);
  if (params->rate == KELP_RATE_EIGHTH) params->seed = kcmn_bsr_peek(reader, 16);

  for (const payload_piece &piece : payload_layout(params->rate)) {
    // An exhausted reader returns more ones than were asked for.
    const uint32_t value = kcmn_bsr_read(reader, piece.width) & ((1U << piece.width) - 1);
    if (piece.field < payload_field::filler) {
      payload_word(params->codes, piece) |= value << piece.low;
    } else if (piece.field == payload_field::check && value != 0) {
      params->rate = KELP_RATE_ERASURE;
      return 0;
    }
  }
  return 0;
}

void kelpd_unpack_pitch(kelpd_frame_params *params, int subframe) {
  params->current_pitch_gain = params->codes.pitch_gain[subframe];
  params->current_pitch_lag = params->codes.pitch_lag[subframe];
  params->current_pitch_frac = params->codes.pitch_frac[subframe];
}

}  // namespace kelp
