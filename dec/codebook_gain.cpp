// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include <algorithm>

#include "dec/dequant.h"

namespace kelp {
namespace {

void remember(gain_memory *gains, int32_t index) {
  gains->history[2] = gains->history[1];
  gains->history[1] = gains->history[0];
  gains->history[0] = static_cast<uint16_t>(index);
  gains->last = index;
}

// Mean of the last three gain indices, held to 6 .. 38.
int32_t predict_gain_index(const gain_memory &gains) {
  const int32_t sum = gains.history[0] + gains.history[1] + gains.history[2];
  if (sum < 18) return 6;
  if (sum > 116) return 38;
  return sum / 3;
}

}  // namespace

void kelp_unpack_codebook(const kelpd_frame_params &params, codebook_record *records, int p,
                          int c) {
  const payload_codes &codes = params.codes;
  codebook_record &record = records[c];
  if (params.rate == KELP_RATE_EIGHTH || params.rate == KELP_RATE_QUARTER) {
    record.gain_code = static_cast<int32_t>(codes.cb_gain[p + c]);
    record.sign = 0;
  } else if (params.rate == KELP_RATE_HALF || params.rate == KELP_RATE_FULL) {
    const int k = params.rate == KELP_RATE_FULL ? c + 4 * p : c + p;
    record.gain_code = static_cast<int32_t>(codes.cb_gain[k]);
    record.sign = static_cast<int32_t>(codes.cb_sign[k]);
    // A negative gain's index travels turned by 89 of 128; turn it on to where it was. No branches
    // here and where the gain is given its sign: nothing predicts a sign.
    const int32_t turn = 39 & -static_cast<int32_t>(record.sign == 1);
    record.index = (static_cast<int32_t>(codes.cb_idx[k]) + turn) & 127;
  }
}

void kelp_iq_gain(uint32_t rate, codebook_record *record, int c, gain_memory *gains) {
  gains->previous = gains->last;
  int32_t index = 4 * record->gain_code;
  // The fourth codebook subframe's 3-bit code is relative to the three before it.
  const bool predicted = rate == KELP_RATE_FULL && ((c + 1) & 3) == 0;
  if (predicted) index += predict_gain_index(*gains) - 6;
  remember(gains, index);
  const int32_t gain = codebook_gain_q16(index);
  const int32_t negative = -static_cast<int32_t>(record->sign != 0);
  record->gain_q16 = (gain ^ negative) - negative;
}

void decode_codebook(const kelpd_frame_params &params, codebook_record *records,
                     gain_memory *gains) {
  const auto rate = static_cast<int32_t>(params.rate);
  const int per_pitch_subframe = kelp_tbl_cb_sf[rate] / kelp_tbl_pitch_sf[rate];
  gain_memory memory = *gains;  // a copy stays in registers
  for (int p = 0; p < 4; p++) {
    for (int c = 0; c < per_pitch_subframe; c++) {
      kelp_unpack_codebook(params, records, p, c);
      kelp_iq_gain(params.rate, &records[c], c, &memory);
    }
    records += per_pitch_subframe;
  }
  *gains = memory;
}

int32_t kelp_iq_gain_8th(int32_t *gain_q16, uint32_t code, gain_memory *gains) {
  if (code > 3) return KELP_ERR_ARGUMENT;
  const int32_t sum = low16(gains->last + gains->previous);
  gains->previous = gains->last;
  const int32_t half = sum > 0 ? (sum >> 1) + (sum & 1) : (sum >> 1) - (sum & 1);
  const int32_t base = half < 5 ? 4 : std::min(half - 1, 58);
  gains->last = base + tbl_ga_8th_offset[code];
  *gain_q16 = codebook_gain_q16(gains->last);
  return KELP_OK;
}

}  // namespace kelp
