// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// The shared synthesis with the decoder's roundings.

#include "dec/decoder.h"

namespace kelp {
namespace {

struct decoder_synthesis {
  static constexpr pitch_rounding kPitchRounding = pitch_rounding::each_term;
  static constexpr int kMatchBits = 1;
  static constexpr int kControlBits = 1;
  static constexpr int kFirShift = 14;
  static constexpr bool kSmoothing = true;
  static constexpr bool kPostfilter = true;
};

}  // namespace

int32_t kelpd_cmn_dec(int32_t rate, decoder_state *state, const subframe_coefficients &coefficients,
                      const pitch_parameters &pitch, codebook_record *records, int32_t *output,
                      int n, int c) {
  synthesize_subframe<decoder_synthesis>(rate, &state->synthesis, coefficients, pitch, records,
                                         nullptr, output, n, c);
  return KELP_OK;
}

}  // namespace kelp
