// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// The shared synthesis with the encoder's roundings.

#include "enc/excitation_search.h"

namespace kelp {
namespace {

// Half-sample lags are rounded once, energies keep more bits, the noise filter's taps are Q24: the
// encoder follows the decoder closely, not to the bit.
struct encoder_synthesis {
  static constexpr pitch_rounding kPitchRounding = pitch_rounding::sum;
  static constexpr int kMatchBits = 4;
  static constexpr int kControlBits = 3;
  static constexpr int kFirShift = 24;
  static constexpr bool kSmoothing = true;
  static constexpr bool kPostfilter = true;
};

}  // namespace

int32_t kelpe_cmn_dec(int32_t rate, encoder_state *state, const subframe_coefficients &coefficients,
                      const pitch_parameters &pitch, codebook_record *records, int32_t *output,
                      synthesis_mode mode, int n, int c) {
  const bool analysis = mode == synthesis_mode::analysis;
  synthesize_subframe<encoder_synthesis>(rate, &state->local_decoder, coefficients, pitch, records,
                                         analysis ? state->weighted_synthesis : nullptr, output, n,
                                         c);
  return KELP_OK;
}

void predict_pitch(const pitch_parameters &pitch, encoder_state *state, int n, int32_t *y) {
  const int32_t silence[kMaxSubframe] = {};
  synthesis_state &local = state->local_decoder;
  local.kernels->pitch(silence, pitch.lag, pitch.gain_q3, pitch.fraction,
                       encoder_synthesis::kPitchRounding, local.pitch.history, n, false, y);
}

}  // namespace kelp
