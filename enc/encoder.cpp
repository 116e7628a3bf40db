// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// The encoder's frame driver: 160 samples to one packet.

#include "enc/encoder.h"

#include <algorithm>
#include <cstring>

#include "enc/analysis.h"
#include "enc/excitation_search.h"
#include "enc/lsp_quant.h"
#include "enc/preprocess.h"
#include "enc/rate_decision.h"
#include "enc/weighting.h"
#include "format/pack.h"

namespace kelp {

int32_t kelpe_enc(void *handle, void *audio, void *packet, void *info) {
  constexpr int32_t kWeighting_q15 = 25559;  // 0.78
  auto *const encoder = static_cast<encoder_handle *>(handle);
  const int16_t *const pcm = static_cast<const kelp_pcm_frame *>(audio)->samples[0];
  const auto *const out = static_cast<const kelp_packet_desc *>(packet);
  kcmn_bsw_state *const writer = &encoder->writer;
  encoder_state *const state = &encoder->state;
  encoder_frame *const frame = encoder->frame;

  std::memset(frame, 0, sizeof *frame);
  kcmn_bsw_init(writer, out->data, out->length, nullptr);
  frame->writer = writer;
  frame->kernels = encoder->kernels;

  int32_t *const speech = state->speech + kSpeechHistory;
  kelp_pre_proc(&state->preprocess, pcm, speech);
  scale_speech(speech);
  kelpe_lsp(frame, *state);
  kelpe_ratedec_step1(frame, state);
  kelpe_q_lsp(frame, state);
  kelpe_lpc_convert(0, frame->rate, state->previous_quantized_lsp, frame->quantized_lsp,
                    frame->coefficients, kWeighting_q15);
  kelpe_pitch_cb_target(frame, state);
  kelpe_ratedec_step2(*frame, state);
  kelpe_pitch_cb_extract(frame, state);
  kelpe_pack(frame->rate, frame->codes, writer, &state->seed);

  std::copy_n(frame->quantized_lsp, kLpcOrder, state->previous_quantized_lsp);
  std::copy_n(state->speech + KELP_FRAME_SAMPLES, kSpeechHistory, state->speech);
  state->frame_count++;

  auto *const result = static_cast<kelp_frame_info *>(info);
  result->consumed = 1;
  result->produced = static_cast<int32_t>(writer->cur - writer->start);
  result->calls++;
  return KELP_OK;
}

}  // namespace kelp
