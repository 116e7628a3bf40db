// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// From codes to values: LSPs, prediction coefficients, pitch, codebook gains.
#ifndef KELP_DEC_DEQUANT_H
#define KELP_DEC_DEQUANT_H

#include <cstdint>

#include "common/synthesis.h"
#include "dec/decoder_state.h"
#include "format/unpack.h"

namespace kelp {

// What usable LSPs (Q16) keep to: the range of the last one, and the least width of `span` steps.
struct usable_lsps {
  int32_t last_min, last_max;
  int span;
  int32_t width;
};
inline constexpr usable_lsps kUsableAtQuarterRate = {22939, 31784, 3, 2621};
inline constexpr usable_lsps kUsableAtHalfAndFullRate = {21628, 32275, 4, 3051};
bool lsps_usable(const usable_lsps &limits, const int32_t lsp[kLpcOrder]);

// 0 when the LSPs that the five indices describe are usable, KELP_ERR_LSP when not,
// KELP_ERR_STATE for a rate other than 2, 3 or 4.
int32_t kelpd_iq_lsp_erasure_check(uint32_t rate, const uint32_t lsp_idx[5]);

// The frame's ten LSPs (Q16) by its rate; renews the LSP memory. Returns 0.
int32_t kelpd_iq_lpc(const kelpd_frame_params &params, decoder_state *state,
                     int32_t lsp[kLpcOrder]);

// The LSPs of an eighth-rate frame from one bit each; renews `memory` (Q16, in and out).
void iq_lsp_8th(const uint32_t lsp_bit[kLpcOrder], const decoder_state &state,
                int32_t memory[kLpcOrder], int32_t lsp[kLpcOrder]);

// The current pitch subframe's lag, fraction and gain. 0, or KELP_ERR_ARGUMENT for a code out of
// range, with nothing written.
int32_t kelpd_iq_pitch_lag_gain(const kelpd_frame_params &params, pitch_parameters *pitch);

// Gain code, sign and codebook index of codebook subframe c of pitch subframe p, into records[c].
void kelp_unpack_codebook(const kelpd_frame_params &params, codebook_record *records, int p, int c);

// The record's signed gain; c is its number within the pitch subframe.
void kelp_iq_gain(uint32_t rate, codebook_record *record, int c, gain_memory *gains);

// Both for all codebook subframes of a frame at half or full rate.
void decode_codebook(const kelpd_frame_params &params, codebook_record *records,
                     gain_memory *gains);

// The unsigned gain of an eighth-rate frame. 0, or KELP_ERR_ARGUMENT for a code above 3, with
// nothing changed.
int32_t kelp_iq_gain_8th(int32_t *gain_q16, uint32_t code, gain_memory *gains);

// Gain of `index` dB, -6 .. 66, Q16.
inline int32_t codebook_gain_q16(int32_t index) {
  return kelp_tbl_ga[index + 6];
}

}  // namespace kelp

#endif  // KELP_DEC_DEQUANT_H
