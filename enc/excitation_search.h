// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
#ifndef KELP_ENC_EXCITATION_SEARCH_H
#define KELP_ENC_EXCITATION_SEARCH_H

#include <cstdint>

#include "common/synthesis.h"
#include "enc/encoder_state.h"
#include "enc/kernels.h"

namespace kelp {

// Searches and quantizes the frame's excitation by its rate, and runs the local decoder so that the
// encoder's memories follow what a decoder makes of the packet. Rates that are never sent leave all
// as it is.
void kelpe_pitch_cb_extract(encoder_frame *frame, encoder_state *state);

// The eighth-rate half of it: noise whose gain follows the weighted residual.
void encode_noise(encoder_frame *frame, encoder_state *state);

// A lag, and the correlation and energy of the past excitation it selects.
struct pitch_candidate {
  int32_t lag;       // 17 .. 143, 0 when none was admitted
  int32_t fraction;  // 0 or 2
  int64_t exy;
  int32_t eyy;
};

// The lag whose filtered past excitation matches the target best.
//   target   40 samples, Q14 of the weighted speech
//   history  kPitchHistory samples of excitation, oldest first
pitch_candidate search_pitch(const encoder_kernels &kernels, const int32_t target[kPitchSubframe],
                             const int32_t h[kImpulseResponse], const int32_t *history);

// Optimal pitch gain of a candidate, Q14.
int32_t pitch_gain_q14(const pitch_candidate &candidate);

// The local decoder: as kelpd_cmn_dec, with the encoder's roundings.
enum class synthesis_mode {
  analysis,  // long-term synthesis and the weighted filter only, for the search
  normal,    // all of it, into the output
};
int32_t kelpe_cmn_dec(int32_t rate, encoder_state *state, const subframe_coefficients &coefficients,
                      const pitch_parameters &pitch, codebook_record *records, int32_t *output,
                      synthesis_mode mode, int n, int c);

// The encoder's long-term filter, tentatively: the state is left as it is.
void predict_pitch(const pitch_parameters &pitch, encoder_state *state, int n, int32_t *y);

}  // namespace kelp

#endif  // KELP_ENC_EXCITATION_SEARCH_H
