// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
#ifndef KELP_ENC_RATE_DECISION_H
#define KELP_ENC_RATE_DECISION_H

#include "enc/encoder_state.h"

namespace kelp {

// Chooses the frame's rate (4, 3 or 1) from its autocorrelations and the levels as the frame before
// left them.
void kelpe_ratedec_step1(encoder_frame *frame, encoder_state *state);

// Updates noise levels, signal levels and classes from this frame, for the next one.
void kelpe_ratedec_step2(const encoder_frame &frame, encoder_state *state);

}  // namespace kelp

#endif  // KELP_ENC_RATE_DECISION_H
