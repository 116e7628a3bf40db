// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "format/unpack.h"

namespace kelp {

namespace {

// Most pieces lie whole in the reader's cache: it is kept at hand, and the reader itself is asked
// only for the others.
class piece_reader {
 public:
  explicit piece_reader(kcmn_bsr_state *reader)
      : reader_(reader), cache_(reader->cache), count_(reader->count) {}
  ~piece_reader() { put_back(); }
  piece_reader(const piece_reader &) = delete;
  piece_reader &operator=(const piece_reader &) = delete;

  uint32_t read(int width) {  // 1 to 31
    if (count_ < width) return read_on(width);
    const uint32_t value = cache_ >> (32 - width);
    cache_ <<= width;
    count_ -= width;
    return value;
  }

 private:
  uint32_t read_on(int width) {
    put_back();
    // An exhausted reader returns more ones than were asked for.
    const uint32_t value = kcmn_bsr_read(reader_, width) & ((1U << width) - 1);
    cache_ = reader_->cache;
    count_ = reader_->count;
    return value;
  }
  void put_back() {
    reader_->cache = cache_;
    reader_->count = count_;
  }

  kcmn_bsr_state *reader_;
  uint32_t cache_;
  int32_t count_;
};

}  // namespace

int32_t kelpd_unpack(kcmn_bsr_state *reader, kelpd_frame_params *params) {
  params->rate = kcmn_bsr_read(reader, 8);
  if (params->rate == KELP_RATE_EIGHTH) params->seed = kcmn_bsr_peek(reader, 16);

  piece_reader pieces(reader);
  for (const payload_piece &piece : payload_layout(params->rate)) {
    const uint32_t value = pieces.read(piece.width);
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
