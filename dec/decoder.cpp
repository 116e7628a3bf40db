// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// The decoder's frame driver: one packet to 160 samples.

#include "dec/decoder.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "dec/dequant.h"
#include "format/unpack.h"

namespace kelp {
namespace {

void good_frame(decoder_state *state, int32_t last_gain_q16) {
  state->previous_gain_q16 = std::abs(last_gain_q16);
  state->erasure_count = 0;
}

// LSPs and prediction coefficients of the frame.
int32_t decode_spectrum(decoder_scratch *frame) {
  if (const int32_t code = kelpd_iq_lpc(frame->params, frame->state, frame->lsp)) return code;
  kelpd_lpc_convert(frame->lsp, tbl_lsp_interp[frame->params.rate], frame);
  return KELP_OK;
}

int32_t silence(decoder_scratch *frame) {
  std::fill_n(frame->pcm, KELP_FRAME_SAMPLES, int16_t{0});
  return KELP_OK;
}

// Background noise: one gain, reached in eight steps.
int32_t decode_eighth_rate(decoder_scratch *frame) {
  constexpr int kSteps = 8;
  decoder_state *const state = frame->state;
  codebook_record *const records = frame->synthesis.records;
  if (const int32_t code = decode_spectrum(frame)) return code;

  kelp_unpack_codebook(frame->params, records, 0, 0);
  int32_t gain_q16 = 0;
  const auto gain_code = static_cast<uint32_t>(records[0].gain_code);
  if (const int32_t code = kelp_iq_gain_8th(&gain_q16, gain_code, &state->gains)) return code;
  gain_q16 = std::abs(gain_q16);

  const int32_t old_gain = state->previous_gain_q16;
  const int32_t new_gain = (old_gain + gain_q16) >> 1;
  records[0].seed = static_cast<int32_t>(frame->params.seed);
  for (int k = 0; k < kSteps; k++) {
    records[k].gain_q16 = ((kSteps - 1 - k) * old_gain + (k + 1) * new_gain) >> 3;
  }
  set_shape(&frame->synthesis, KELP_RATE_EIGHTH, kSteps, 1, 1);
  kelpd_cmn_dec(frame);
  good_frame(state, gain_q16);
  state->eighth_rate_run = count_up(state->eighth_rate_run);
  return KELP_OK;
}

// Five gains of a real quarter-rate frame move smoothly; these tests are all the protection it has.
bool gains_are_smooth(const codebook_record records[5]) {
  int32_t code[5];
  for (int i = 0; i < 5; i++) {
    if (records[i].gain_q16 < 0) return false;
    code[i] = records[i].gain_code;
  }
  for (int i = 0; i < 4; i++) {
    if (std::abs(code[i + 1] - code[i]) > 10) return false;
  }
  for (int i = 0; i < 3; i++) {
    if (std::abs(code[i + 2] - 2 * code[i + 1] + code[i]) > 12) return false;
  }
  return true;
}

// The noise seed of a quarter-rate frame comes from its LSP indices.
int32_t quarter_rate_seed(const uint32_t lsp_idx[5]) {
  return static_cast<int32_t>(((lsp_idx[4] & 3) << 14) | ((lsp_idx[3] & 63) << 8) |
                              ((lsp_idx[2] * 2) & 192) | ((lsp_idx[1] & 7) << 3) |
                              ((lsp_idx[0] >> 3) & 7));
}

// Two gains in Q16 weighted in Q14.
int32_t mix(int32_t gain_a, int32_t weight_a, int32_t gain_b, int32_t weight_b) {
  return low32((product(gain_a, weight_a) + product(gain_b, weight_b)) >> 14);
}

// Unvoiced speech: five gains over four subframes of noise. A frame that fails its checks is silent
// and leaves everything but its gain indices alone: it is not concealed.
int32_t decode_quarter_rate(decoder_scratch *frame) {
  decoder_state *const state = frame->state;
  const kelpd_frame_params &params = frame->params;
  codebook_record *const records = frame->synthesis.records;
  if (kelpd_iq_lsp_erasure_check(params.rate, params.codes.lsp_idx) != KELP_OK) {
    return silence(frame);
  }
  int32_t g[5];
  for (int i = 0; i < 5; i++) {
    kelp_unpack_codebook(params, records, 0, i);
    kelp_iq_gain(params.rate, &records[i], i, &state->gains);
    g[i] = records[i].gain_q16;
  }
  if (!gains_are_smooth(records)) return silence(frame);
  if (decode_spectrum(frame) != KELP_OK) return silence(frame);

  // The weights are the format's own: those of the second subframe do not add up to one.
  const int32_t halves[8] = {g[0],
                             mix(g[1], 6553, g[0], 9830),
                             g[1],
                             mix(g[1], 3276, g[2], 1307),
                             mix(g[2], 1307, g[3], 3276),
                             g[3],
                             mix(g[3], 6553, g[4], 9830),
                             g[4]};
  records[0].seed = quarter_rate_seed(params.codes.lsp_idx);
  for (int k = 0; k < 8; k++) records[k].gain_q16 = halves[k];
  set_shape(&frame->synthesis, KELP_RATE_QUARTER, 4, 2, 4);
  kelpd_cmn_dec(frame);
  good_frame(state, g[4]);
  state->eighth_rate_run = 0;
  return KELP_OK;
}

// Speech: pitch and codebook parameters per pitch subframe.
int32_t decode_voiced_rate(decoder_scratch *frame) {
  decoder_state *const state = frame->state;
  kelpd_frame_params *const params = &frame->params;
  synthesis_parameters &synthesis = frame->synthesis;
  const auto rate = static_cast<int32_t>(params->rate);
  if (const int32_t code = kelpd_iq_lsp_erasure_check(params->rate, params->codes.lsp_idx)) {
    return code;
  }
  if (const int32_t code = decode_spectrum(frame)) return code;

  for (int k = 0; k < 4; k++) {
    kelpd_unpack_pitch(params, k);
    if (const int32_t code = kelpd_iq_pitch_lag_gain(*params, &synthesis.pitch[k])) return code;
  }
  decode_codebook(*params, synthesis.records, &state->gains);
  const int codebook_subframes = kelp_tbl_cb_sf[rate];
  set_shape(&synthesis, rate, 4, codebook_subframes / 4, 4);
  kelpd_cmn_dec(frame);
  good_frame(state, synthesis.records[codebook_subframes - 1].gain_q16);
  state->eighth_rate_run = 0;
  return KELP_OK;
}

// By rate. A rate code that is none leaves the frame silent and the state as it is.
int32_t decode_frame(decoder_scratch *frame) {
  switch (frame->params.rate) {
    case KELP_RATE_EIGHTH: return decode_eighth_rate(frame);
    case KELP_RATE_QUARTER: return decode_quarter_rate(frame);
    case KELP_RATE_HALF:
    case KELP_RATE_FULL: {
      const int32_t code = decode_voiced_rate(frame);
      return code == KELP_ERR_LSP ? conceal_frame(frame) : code;
    }
    case KELP_RATE_ERASURE: return conceal_frame(frame);
    default: return silence(frame);
  }
}

void write_output(kelp_pcm_frame *audio) {
  audio->sample_count[0] = KELP_FRAME_SAMPLES;
  audio->byte_count[0] = KELP_FRAME_SAMPLES * sizeof(int16_t);
  constexpr uint32_t kFormat[4] = {1, 16, KELP_SAMPLE_RATE_HZ, 1};
  std::copy_n(kFormat, 4, audio->format);
}

}  // namespace

int32_t kelpd_dec(void *handle, void *packet, void *audio, void *info) {
  auto *const decoder = static_cast<decoder_handle *>(handle);
  const auto *const in = static_cast<const kelp_packet_desc *>(packet);
  auto *const out = static_cast<kelp_pcm_frame *>(audio);
  decoder_state *const state = &decoder->state;
  decoder_scratch *const frame = decoder->scratch;

  std::memset(frame, 0, sizeof *frame);
  frame->state = state;
  frame->pcm = out->samples[0];
  // A frame that decodes no LSPs hands on the previous ones.
  std::copy_n(state->previous_lsp, kLpcOrder, frame->lsp);

  kcmn_bsr_state *const reader = &decoder->reader;
  kcmn_bsr_init(reader, in->data, in->length, nullptr);
  kelpd_unpack(reader, &frame->params);
  if (const int32_t code = decode_frame(frame)) return code;
  write_output(out);

  state->last_rate = static_cast<int32_t>(frame->params.rate);
  std::copy_n(frame->lsp, kLpcOrder, state->previous_lsp);

  auto *const result = static_cast<kelp_frame_info *>(info);
  result->consumed = static_cast<int32_t>(reader->cur - reader->start) - (reader->count >> 3);
  result->produced = 1;
  result->calls++;
  return KELP_OK;
}

}  // namespace kelp
