// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// The encoder's handle: creation with its starting values, checks on every call, deletion.

#include <algorithm>
#include <cstring>

#include "common/handle.h"
#include "enc/encoder.h"
#include "enc/encoder_state.h"
#include "kelp.h"

using kelp::encoder_frame;
using kelp::encoder_handle;
using kelp::encoder_state;

namespace {

// Low-pass shape of the local decoder's quarter-rate noise, Q24.
constexpr int32_t kNoiseShape_q24[kelp::kNoiseTaps] = {
    -2255728, 291149,   -1158605, 408419,   -1377527, 510260,   -1552124,
    587535,   -1664094, 629064,   15074558, 629064,   -1664094, 587535,
    -1552124, 510260,   -1377527, 408419,   -1158605, 291149,   -2255728};

// Where the bands start: noise as loud as it may be, and the autocorrelations of their filters.
constexpr kelp::band_state kBandStart[2] = {{5059644,
                                             3200000,
                                             3200000,
                                             0,
                                             {13528, 8673, -548, -5072, -2981, 48, -456, -2741,
                                              -3003, -960, 766, 781, 114, -36, 208, 263, 101}},
                                            {5059644,
                                             320000,
                                             320000,
                                             0,
                                             {15566, -10421, 877, 3415, -965, -1956, 1128, 1259,
                                              -1721, 429, 410, -171, -164, 86, 53, -35, 5}}};

void set_starting_values(encoder_state *state) {
  std::memset(state, 0, sizeof *state);
  std::copy_n(kNoiseShape_q24, kelp::kNoiseTaps, state->local_decoder.noise_fir.taps);
  state->local_decoder.control_gain_q14 = 16384;
  state->local_decoder.kernels = &kelp::filter_kernels_for(kelp::best_instruction_set());
  kelp::rate_decision_state &decision = state->rate_decision;
  std::copy_n(kBandStart, 2, decision.band);
  decision.previous_rate = KELP_RATE_EIGHTH;
  decision.hangover_count = 10;
  std::copy_n(tbl_idx_lpcorder, kelp::kLpcOrder, state->previous_quantized_lsp);
  std::copy_n(tbl_idx_lpcorder, kelp::kLpcOrder, state->previous_lsp);
}

encoder_handle *as_encoder(void *handle) {
  return kelp::checked_handle<encoder_handle>(handle, kelp::kEncoderTag);
}

void set_operations(encoder_handle *encoder) {
  encoder->ops = {kelpe_ready, kelpe_flush, kelp::kelpe_enc, nullptr};
}

}  // namespace

void *kelpe_create(const kelp_config *config, int32_t *err) {
  if (kelp_inited == 0) {
    kelp::report(err, KELP_ERR_STATE);
    return nullptr;
  }
  auto *const encoder = kelp::new_record<encoder_handle>();
  if (encoder == nullptr) {
    kelp::report(err, KELP_ERR_NO_MEMORY);
    return nullptr;
  }
  encoder->config = *config;
  encoder->kernels = &kelp::encoder_kernels_for(kelp::best_instruction_set());
  int32_t code = KELP_ERR_CONFIG;
  if (config->option == 0) {
    set_operations(encoder);
    code = kelpe_ready(encoder);
  }
  kelp::report(err, code);
  if (code != KELP_OK) {
    kcmn_mfree_align32(encoder);
    return nullptr;
  }
  encoder->tag = kelp::kEncoderTag;
  encoder->self = encoder;
  return encoder;
}

int32_t kelpe_encode(void *handle, const kelp_pcm_frame *in, kelp_packet_desc *out,
                     kelp_frame_info *info) {
  encoder_handle *const encoder = as_encoder(handle);
  if (encoder == nullptr) return KELP_ERR_HANDLE;
  if (out->data == nullptr || out->length < 1) return KELP_ERR_ARGUMENT;
  if (encoder->ops.process == nullptr) return KELP_ERR_HANDLE;
  return encoder->ops.process(handle, const_cast<kelp_pcm_frame *>(in), out, info);
}

void kelpe_delete(void *handle) {
  encoder_handle *const encoder = as_encoder(handle);
  if (encoder == nullptr) return;
  // The work area is not freed here: releasing it is the host's call, kelpe_flush.
  kelp::clear_operations(&encoder->ops);
  kcmn_mfree_align32(encoder);
}

int32_t kelpe_ready(void *handle) {
  auto *const frame = kelp::new_record<encoder_frame>();
  if (frame == nullptr) return KELP_ERR_NO_MEMORY;
  auto *const encoder = static_cast<encoder_handle *>(handle);
  encoder->frame = frame;
  set_starting_values(&encoder->state);
  return KELP_OK;
}

void kelpe_flush(void *handle) {
  kcmn_mfree_align32(static_cast<encoder_handle *>(handle)->frame);
}

int32_t kelpe_platform_init(void *handle) {
  auto *const encoder = static_cast<encoder_handle *>(handle);
  if (encoder->config.option != 0) return KELP_ERR_CONFIG;
  set_operations(encoder);
  return KELP_OK;
}

void kelpe_platform_deinit(void *handle) {
  kelp::clear_operations(&static_cast<encoder_handle *>(handle)->ops);
}
