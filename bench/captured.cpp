// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "bench/captured.h"

#include <algorithm>
#include <memory>

#include "dec/decoder.h"
#include "tests/handles.h"
#include "tools/quality/codec.h"

// What the library defines, and what it calls instead. bench/CMakeLists.txt names them too.
#define KELP_WRAPPED(type, name, parameters, mangled)     \
  type real_##name parameters __asm__("__real_" mangled); \
  type wrap_##name parameters __asm__("__wrap_" mangled); \
  type wrap_##name parameters

kelp::bench::captured_calls *kelp::bench::capture_into = nullptr;

namespace kelp {

using bench::capture_into;

KELP_WRAPPED(pitch_candidate, search_pitch,
             (const int32_t *target, const int32_t *h, const int32_t *history),
             "_ZN4kelp12search_pitchEPKiS1_S1_") {
  if (capture_into != nullptr) {
    bench::pitch_search_call &call = capture_into->pitch_search.emplace_back();
    std::copy_n(target, kPitchSubframe, call.target);
    std::copy_n(h, kImpulseResponse, call.h);
    std::copy_n(history, kPitchHistory, call.history);
  }
  return real_search_pitch(target, h, history);
}

KELP_WRAPPED(codebook_choice, search_codebook,
             (const int32_t *target, const int32_t *h, const int16_t *codebook, int n),
             "_ZN4kelp15search_codebookEPKiS1_PKsi") {
  if (capture_into != nullptr) {
    bench::codebook_search_call &call = capture_into->codebook_search.emplace_back();
    std::copy_n(target, n, call.target);
    std::copy_n(h, kImpulseResponse, call.h);
    call.codebook = codebook;
    call.n = n;
  }
  return real_search_codebook(target, h, codebook, n);
}

KELP_WRAPPED(int32_t, kelpd_cmn_dec,
             (int32_t rate, decoder_state *state, const subframe_coefficients &coefficients,
              const pitch_parameters &pitch, codebook_record *records, int32_t *output,
              synthesis_mode mode, int n, int c),
             "_ZN4kelp13kelpd_cmn_decEiPNS_13decoder_stateERKNS_21subframe_coefficientsE"
             "RKNS_16pitch_parametersEPNS_15codebook_recordEPiNS_14synthesis_modeEii") {
  if (capture_into != nullptr) {
    capture_into->synthesis.push_back({rate, *state, coefficients, pitch, {}, n, c});
    std::copy_n(records, c, capture_into->synthesis.back().records);
  }
  return real_kelpd_cmn_dec(rate, state, coefficients, pitch, records, output, mode, n, c);
}

}  // namespace kelp

namespace kelp::bench {

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
