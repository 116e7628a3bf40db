// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// How close the search comes to the speech when nothing is done to please the ear afterwards: a
// program of its own, whose decoder leaves out the second long-term filter and the postfilter. This
// definition of kelpd_cmn_dec keeps the library's from being linked.

#include <cmath>

#include "dec/decoder.h"
#include "tests/speech.h"

int32_t kelp::kelpd_cmn_dec(decoder_scratch *frame) {
  synthesis_policy bare = kDecoderSynthesis;
  bare.smoothing = bare.postfilter = false;
  synthesis_state *const state = &frame->state->synthesis;
  synthesis_buffer buffer;
  synthesize_frame(bare, state, &frame->synthesis, &buffer);
  state->kernels->to_pcm(buffer.samples(), KELP_FRAME_SAMPLES, frame->pcm);
  return KELP_OK;
}

namespace {

using namespace kelp_test;

TEST_F(Speech, SegmentalSnrOfTheSearch) {
  for (const auto &[divisor, least] : {std::pair{1, 14}, {16, 11}}) {  // 24 dB down
    double sum = 0;
    for (const recording &source : recordings) {
      pcm_samples pcm = source.pcm;
      for (int16_t &sample : pcm)
        sample = static_cast<int16_t>(std::lround(1.0 * sample / divisor));
      sum += segmental_snr(pcm);
    }
    const double mean = sum / static_cast<double>(recordings.size());
    std::printf("%6.2f dB at 1/%d of the level\n", mean, divisor);
    EXPECT_GE(mean, least);
  }
}

}  // namespace
