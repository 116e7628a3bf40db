// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
#ifndef KELP_ENC_LSP_QUANT_H
#define KELP_ENC_LSP_QUANT_H

#include <cstdint>

#include "enc/encoder_state.h"

namespace kelp {

// Quantizes the frame's LSPs for its rate; renews the LSP memory.
void kelpe_q_lsp(encoder_frame *frame, encoder_state *state);

// Weight of each LSP's error: the energy of the frame passed through the sensitivity of the
// prediction filter to that LSP.
void lsp_weights(const encoder_frame &frame, int64_t weight[kLpcOrder]);

// The five splits of two steps each, in closed loop: every step starts from the quantized LSP below
// it. Nothing is reordered.
void search_lsp_codebooks(const encoder_kernels &kernels,
                          const kelp_lsp_pair *const codebooks[kLspSplits],
                          const int32_t lsp[kLpcOrder], const int64_t weight[kLpcOrder],
                          uint32_t index[kLspSplits], int32_t quantized[kLpcOrder]);

// One set of coefficients per interpolation subframe of the rate; `mode` 0 fills the weighted sets
// too, with powers of `factor_q15`.
void kelpe_lpc_convert(int mode, int32_t rate, const int32_t previous_lsp[kLpcOrder],
                       const int32_t lsp[kLpcOrder], subframe_coefficients sets[4],
                       int32_t factor_q15);

// Interpolated LSPs (16384 is half the sampling rate) to prediction coefficients.
void kelpe_lsp_to_lpc(const int32_t lsp[kLpcOrder], int32_t lpc_q14[kLpcOrder]);

}  // namespace kelp

#endif  // KELP_ENC_LSP_QUANT_H
