// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// The decoder's handle: creation, checks on every call, deletion.

#include <algorithm>

#include "common/handle.h"
#include "dec/decoder.h"
#include "dec/decoder_state.h"
#include "kelp.h"

using kelp::decoder_handle;
using kelp::decoder_scratch;

namespace {

constexpr int16_t kBrightening_q14 = -4915;  // -0.3

decoder_handle *as_decoder(void *handle) {
  return kelp::checked_handle<decoder_handle>(handle, kelp::kDecoderTag);
}

void set_operations(decoder_handle *decoder) {
  decoder->ops = {kelpd_ready, kelpd_flush, kelp::kelpd_dec, nullptr};
}

// Frees a handle, with its work area when its operations are in place.
void discard(decoder_handle *decoder) {
  if (decoder->ops.release != nullptr) decoder->ops.release(decoder);
  kelp::clear_operations(&decoder->ops);
  kcmn_mfree_align32(decoder);
}

}  // namespace

void kelp::kelp_filter_init_dec(decoder_state *state) {
  // Low-pass shape of the quarter-rate noise, Q14.
  static constexpr int32_t kNoiseShape_q14[kNoiseTaps] = {
      -2202, 284,   -1131, 398,   -1345, 498,   -1515, 573,   -1625, 614,  14721,
      614,   -1625, 573,   -1515, 498,   -1345, 398,   -1131, 284,   -2202};
  for (int i = 0; i < kLpcOrder; i++) state->previous_lsp[i] = tbl_bias[i] >> 5;
  std::copy_n(kNoiseShape_q14, kNoiseTaps, state->synthesis.noise_fir.taps);
  state->synthesis.last_stage.coefficient_q14 = kBrightening_q14;
  state->synthesis.control_gain_q14 = 16384;
  state->synthesis.kernels = &filter_kernels_for(best_instruction_set());
}

void *kelpd_create(const kelp_config *config, int32_t *err) {
  if (kelp_inited == 0) {
    kelp::report(err, KELP_ERR_STATE);
    return nullptr;
  }
  auto *const decoder = kelp::new_record<decoder_handle>();
  if (decoder == nullptr) {
    kelp::report(err, KELP_ERR_NO_MEMORY);
    return nullptr;
  }
  decoder->config = *config;
  if (config->option != 0) {
    discard(decoder);
    kelp::report(err, KELP_ERR_CONFIG);
    return nullptr;
  }
  set_operations(decoder);
  if (kelpd_ready(decoder) != KELP_OK) {
    discard(decoder);
    kelp::report(err, KELP_ERR_NO_MEMORY);
    return nullptr;
  }
  kelp::report(err, KELP_OK);
  decoder->self = decoder;
  decoder->tag = kelp::kDecoderTag;
  kelp::kelp_filter_init_dec(&decoder->state);
  return decoder->self;
}

int32_t kelpd_decode(void *handle, const kelp_packet_desc *in, kelp_pcm_frame *out,
                     kelp_frame_info *info) {
  decoder_handle *const decoder = as_decoder(handle);
  if (decoder == nullptr) return KELP_ERR_HANDLE;
  if (in->data == nullptr || in->length < 1) return KELP_ERR_ARGUMENT;
  if (decoder->ops.process == nullptr) return KELP_ERR_HANDLE;
  return decoder->ops.process(handle, const_cast<kelp_packet_desc *>(in), out, info);
}

void kelpd_delete(void *handle) {
  decoder_handle *const decoder = as_decoder(handle);
  if (decoder != nullptr) discard(decoder);
}

int32_t kelpd_ready(void *handle) {
  auto *const scratch = kelp::new_record<decoder_scratch>();
  if (scratch == nullptr) return KELP_ERR_NO_MEMORY;
  static_cast<decoder_handle *>(handle)->scratch = scratch;
  return KELP_OK;
}

void kelpd_flush(void *handle) {
  kcmn_mfree_align32(static_cast<decoder_handle *>(handle)->scratch);
}

int32_t kelpd_platform_init(void *handle) {
  auto *const decoder = static_cast<decoder_handle *>(handle);
  if (decoder->config.option != 0) return KELP_ERR_CONFIG;
  set_operations(decoder);
  return KELP_OK;
}

void kelpd_platform_deinit(void *handle) {
  kelp::clear_operations(&static_cast<decoder_handle *>(handle)->ops);
}
