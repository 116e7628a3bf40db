// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "bench/captured.h"

#include <algorithm>
#include <cstring>
#include <memory>

#include "dec/decoder.h"
#include "tests/handles.h"
#include "tools/quality/codec.h"

namespace kelp::bench {

captured_calls *captured_into = nullptr;

namespace {

const encoder_kernels &fastest() {
  return encoder_kernels_for(best_instruction_set());
}

void capture_lags(const int32_t *target, const int32_t *h, const int32_t *past,
                  lag_bounds *bounds) {
  pitch_search_call &call = captured_into->pitch_search.emplace_back();
  std::copy_n(target, kPitchSubframe, call.target);
  std::copy_n(h, kImpulseResponse, call.h);
  std::copy_n(past - kPitchHistory, kPitchHistory, call.history);
  fastest().subframe->bound_lags(target, h, past, bounds);
}

void capture_filtering(const int16_t *codebook, const int32_t *h, filtered_codebook *filtered) {
  codebook_search_call &call = captured_into->codebook_search.emplace_back();
  call.codebook = codebook;
  std::copy_n(h, kImpulseResponse, call.h);
  fastest().subframe->filter_codebook(codebook, h, filtered);
}

codebook_choice capture_target(const int16_t *codebook, const filtered_codebook &filtered,
                               const int32_t *target) {
  codebook_search_call &call = captured_into->codebook_search.emplace_back();
  std::copy_n(target, filtered_codebook::kSamples, call.target);
  return fastest().subframe->search_codebook(codebook, filtered, target);
}

codebook_choice capture_long_target(const int16_t *codebook, const int32_t *h,
                                    const int32_t *target, filtered_codebook *filtered) {
  codebook_search_call &call = captured_into->codebook_search.emplace_back();
  call.codebook = codebook;
  std::copy_n(h, kImpulseResponse, call.h);
  std::copy_n(target, kPitchSubframe, call.target);
  return fastest().frame->search_long_codebook(codebook, h, target, filtered);
}

void capture_short_term(int32_t *x, const short_term_filters &filters, int subframes, int n,
                        int sets, int64_t *energies) {
  short_term_call &call = captured_into->short_term.emplace_back();
  std::copy_n(x, subframes * n + kRoomBehind, call.buffer.samples());
  std::memcpy(call.lpc, *filters.lpc, sizeof call.lpc);
  std::copy_n(filters.formant_memory, kLpcOrder, call.formant_memory);
  std::copy_n(filters.pole_memory, kLpcOrder, call.pole_memory);
  call.bright_memory = *filters.bright_memory;
  call.filters = filters;
  call.subframes = subframes;
  call.n = n;
  call.sets = sets;
  filter_kernels_for(best_instruction_set()).short_term(x, filters, subframes, n, sets, energies);
}

}  // namespace

const encoder_kernels &capturing_encoder_kernels() {
  static const subframe_kernels subframe = [] {
    subframe_kernels own = *fastest().subframe;
    own.bound_lags = capture_lags;
    own.filter_codebook = capture_filtering;
    own.search_codebook = capture_target;
    return own;
  }();
  static const frame_kernels frame = [] {
    frame_kernels own = *fastest().frame;
    own.search_long_codebook = capture_long_target;
    return own;
  }();
  static const encoder_kernels kernels = {&subframe, &frame};
  return kernels;
}

const filter_kernels &capturing_filter_kernels() {
  static const filter_kernels kernels = [] {
    filter_kernels own = filter_kernels_for(best_instruction_set());
    own.short_term = capture_short_term;
    return own;
  }();
  return kernels;
}

std::vector<captured_frame> capture_frames(std::span<const int16_t> pcm, int32_t rate,
                                           size_t most) {
  const std::vector<quality::packet> packets = quality::encode(pcm);
  const auto of_rate = [&](const quality::packet &packet) { return packet[0] == rate; };
  const auto count = static_cast<size_t>(std::count_if(packets.begin(), packets.end(), of_rate));
  const size_t step = std::max<size_t>(count / most, 1);

  kelp_test::encoder encoder;
  kelp_test::decoder decoder;
  std::vector<captured_frame> frames;
  for (size_t k = 0, seen = 0; k < packets.size() && frames.size() < most; k++) {
    const int16_t *const samples = &pcm[k * KELP_FRAME_SAMPLES];
    if (of_rate(packets[k]) && seen++ % step == 0) {
      captured_frame &frame = frames.emplace_back();
      frame.before_encoding = encoder.state();
      frame.before_decoding = decoder.state();
      std::copy_n(samples, KELP_FRAME_SAMPLES, frame.pcm);
      frame.packet = packets[k];
    }
    encoder.encode(samples);
    decoder.decode(packets[k]);
  }
  return frames;
}

}  // namespace kelp::bench
