// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
#ifndef KELP_FORMAT_PACK_H
#define KELP_FORMAT_PACK_H

#include <cstdint>

#include "format/payload.h"
#include "kelp.h"

namespace kelp {

// The codes chosen for one codebook subframe.
struct codebook_codes {
  uint32_t gain;
  uint32_t sign;   // 1: negative gain
  uint32_t index;  // 0 .. 127
};

// Stores one codebook subframe. A negative gain's index is turned by 89 of 128 on the wire; the
// decoder turns it on by the remaining 39.
void kelpe_pack_cb(int32_t rate, const codebook_codes &result, payload_codes *packing,
                   int subframe);

// Clears the writer's whole buffer and writes the packet; a rate that is never sent (2) writes
// nothing. After an eighth-rate packet `seed` (16 bits) becomes its first 16 payload bits, which is
// what the decoder seeds its noise with.
void kelpe_pack(int32_t rate, const payload_codes &packing, kcmn_bsw_state *writer, uint32_t *seed);

}  // namespace kelp

#endif  // KELP_FORMAT_PACK_H
