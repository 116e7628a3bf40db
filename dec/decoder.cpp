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

constexpr int kSubframe = 40;

void good_frame(decoder_state *state, int32_t last_gain_q16) {
  state->previous_gain_q16 = std::abs(last_gain_q16);
  state->erasure_count = 0;
}

// LSPs and prediction coefficients of the frame.
int32_t decode_spectrum(decoder_scratch *frame) {
  decoder_state *const state = frame->state;
  if (const int32_t code = kelpd_iq_lpc(frame->params, state, frame->lsp)) return code;
  return kelpd_lpc_convert(1, frame->params.rate, state->previous_lsp, frame->lsp,
                           frame->coefficients, 0);
}

// Background noise: one gain, reached in eight steps.
int32_t decode_eighth_rate(decoder_scratch *frame) {
  constexpr int kStep = 20;
  decoder_state *const state = frame->state;
  codebook_record &record = frame->records[0];
  if (const int32_t code = decode_spectrum(frame)) return code;

  kelp_unpack_codebook(frame->params, frame->records, 0, 0);
  int32_t gain_q16 = 0;
  const auto gain_code = static_cast<uint32_t>(record.gain_code);
  if (const int32_t code = kelp_iq_gain_8th(&gain_q16, gain_code, &state->gains)) return code;
  gain_q16 = std::abs(gain_q16);
  record.seed = static_cast<int32_t>(frame->params.seed);

  const int32_t old_gain = state->previous_gain_q16;
  const int32_t new_gain = (old_gain + gain_q16) >> 1;
  for (int k = 0; k < 8; k++) {
    record.gain_q16 = ((7 - k) * old_gain + (k + 1) * new_gain) >> 3;
    decode_subframe(frame, KELP_RATE_EIGHTH, 0, k * kStep, kStep, 1);
  }
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
  codebook_record *const records = frame->records;
  if (kelpd_iq_lsp_erasure_check(params.rate, params.codes.lsp_idx) != KELP_OK) return KELP_OK;
  int32_t g[5];
  for (int i = 0; i < 5; i++) {
    kelp_unpack_codebook(params, records, 0, i);
    kelp_iq_gain(params.rate, &records[i], i, &state->gains);
    g[i] = records[i].gain_q16;
  }
  if (!gains_are_smooth(records)) return KELP_OK;
  if (decode_spectrum(frame) != KELP_OK) return KELP_OK;

  // The weights are the format's own: those of the second subframe do not add up to one.
  const int32_t halves[4][2] = {{g[0], mix(g[1], 6553, g[0], 9830)},
                                {g[1], mix(g[1], 3276, g[2], 1307)},
                                {mix(g[2], 1307, g[3], 3276), g[3]},
                                {mix(g[3], 6553, g[4], 9830), g[4]}};
  records[0].seed = quarter_rate_seed(params.codes.lsp_idx);
  for (int k = 0; k < 4; k++) {
    records[0].gain_q16 = halves[k][0];
    records[1].gain_q16 = halves[k][1];
    decode_subframe(frame, KELP_RATE_QUARTER, k, k * kSubframe, kSubframe, 2);
  }
  good_frame(state, g[4]);
  state->eighth_rate_run = 0;
  return KELP_OK;
}

// Speech: pitch and codebook parameters per pitch subframe.
int32_t decode_voiced_rate(decoder_scratch *frame) {
  decoder_state *const state = frame->state;
  kelpd_frame_params *const params = &frame->params;
  const auto rate = static_cast<int32_t>(params->rate);
  const int codebook_subframes = kelp_tbl_cb_sf[rate] / kelp_tbl_pitch_sf[rate];
  if (const int32_t code = kelpd_iq_lsp_erasure_check(params->rate, params->codes.lsp_idx)) {
    return code;
  }
  if (const int32_t code = decode_spectrum(frame)) return code;

  for (int k = 0; k < 4; k++) {
    kelpd_unpack_pitch(params, k);
    if (const int32_t code = kelpd_iq_pitch_lag_gain(*params, &frame->pitch)) return code;
    for (int c = 0; c < codebook_subframes; c++) {
      kelp_unpack_codebook(*params, frame->records, k, c);
      kelp_iq_gain(params->rate, &frame->records[c], c, &state->gains);
    }
    decode_subframe(frame, rate, k, k * kSubframe, kSubframe, codebook_subframes);
    good_frame(state, frame->records[codebook_subframes - 1].gain_q16);
    state->eighth_rate_run = 0;
  }
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
    default: return KELP_OK;
  }
}

void write_output(const decoder_scratch &frame, kelp_pcm_frame *audio) {
  std::copy_n(frame.pcm, KELP_FRAME_SAMPLES, audio->samples[0]);
  audio->sample_count[0] = KELP_FRAME_SAMPLES;
  audio->byte_count[0] = KELP_FRAME_SAMPLES * sizeof(int16_t);
  constexpr uint32_t kFormat[4] = {1, 16, KELP_SAMPLE_RATE_HZ, 1};
  std::copy_n(kFormat, 4, audio->format);
}

}  // namespace

void decode_subframe(decoder_scratch *frame, int32_t rate, int set, int start, int n, int c) {
  decoder_state *const state = frame->state;
  int32_t speech_q12[kMaxSubframe];
  kelpd_cmn_dec(rate, state, frame->coefficients[set], frame->pitch, frame->records, speech_q12, n,
                c);
  state->synthesis.kernels->to_pcm(speech_q12, n, frame->pcm + start);
}

int32_t kelpd_dec(void *handle, void *packet, void *audio, void *info) {
  auto *const decoder = static_cast<decoder_handle *>(handle);
  const auto *const in = static_cast<const kelp_packet_desc *>(packet);
  decoder_state *const state = &decoder->state;
  decoder_scratch *const frame = decoder->scratch;

  std::memset(frame, 0, sizeof *frame);
  frame->state = state;
  // A frame that decodes no LSPs hands on the previous ones.
  std::copy_n(state->previous_lsp, kLpcOrder, frame->lsp);

  kcmn_bsr_state *const reader = &decoder->reader;
  kcmn_bsr_init(reader, in->data, in->length, nullptr);
  kelpd_unpack(reader, &frame->params);
  if (const int32_t code = decode_frame(frame)) return code;
  write_output(*frame, static_cast<kelp_pcm_frame *>(audio));

  state->last_rate = static_cast<int32_t>(frame->params.rate);
  std::copy_n(frame->lsp, kLpcOrder, state->previous_lsp);

  auto *const result = static_cast<kelp_frame_info *>(info);
  result->consumed = static_cast<int32_t>(reader->cur - reader->start) - (reader->count >> 3);
  result->produced = 1;
  result->calls++;
  return KELP_OK;
}

}  // namespace kelp
