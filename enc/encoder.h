// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
#ifndef KELP_ENC_ENCODER_H
#define KELP_ENC_ENCODER_H

#include <cstdint>

#include "enc/encoder_state.h"

namespace kelp {

// The encoder handle's process operation: 160 samples to one packet.
//   handle        encoder_handle
//   audio         const kelp_pcm_frame
//   packet, info  kelp_packet_desc, kelp_frame_info
int32_t kelpe_enc(void *handle, void *audio, void *packet, void *info);

}  // namespace kelp

#endif  // KELP_ENC_ENCODER_H
