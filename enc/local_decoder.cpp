// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// The shared synthesis with the encoder's roundings.

#include <algorithm>

#include "enc/excitation_search.h"

namespace kelp {
namespace {

// Half-sample lags are rounded once, energies keep more bits, the noise filter's taps are Q24: the
// encoder follows the decoder closely, not to the bit.
struct encoder_synthesis {
  using pitch_rounding = truncate_sum;
  static constexpr int kMatchBits = 4;
  static constexpr int kControlBits = 3;
  static constexpr int kFirShift = 24;
  static constexpr bool kSmoothing = true;
  static constexpr bool kPostfilter = true;
};

}  // namespace

void open_pole_stage::run(int32_t *samples, int n) {
  lpc_scratch scratch;
  kelp_filter_pole(samples, filter.memory, filter.coefficients, n, true, scratch, samples);
}

int32_t kelpe_cmn_dec(int32_t rate, encoder_state *state, const subframe_coefficients &coefficients,
                      const pitch_parameters &pitch, codebook_record *records, int32_t *output,
                      synthesis_mode mode, int n, int c) {
  synthesize_subframe<encoder_synthesis>(rate, &state->local_decoder, coefficients, pitch, records,
                                         output, mode, n, c);
  return KELP_OK;
}

void predict_pitch(const pitch_parameters &pitch, const int32_t *history, int n, int32_t *y) {
  const int32_t silence[kMaxSubframe] = {};
  int32_t copy[kPitchHistory];
  std::copy_n(history, kPitchHistory, copy);
  pitch_scratch scratch;
  filter_pole_1_tap_interp<truncate_sum>(silence, pitch.lag, pitch.gain_q3, pitch.fraction, copy, n,
                                         false, scratch, y);
}

}  // namespace kelp
