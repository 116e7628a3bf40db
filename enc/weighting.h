// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
#ifndef KELP_ENC_WEIGHTING_H
#define KELP_ENC_WEIGHTING_H

#include "enc/encoder_state.h"

namespace kelp {

// Runs the 160 coded samples of the speech buffer through the perceptual weighting filter
// A(z) / A(z / 0.78): the frame's weighted residual and weighted speech.
void kelpe_pitch_cb_target(encoder_frame *frame, encoder_state *state);

}  // namespace kelp

#endif  // KELP_ENC_WEIGHTING_H
