// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
#ifndef KELP_COMMON_NOISE_H
#define KELP_COMMON_NOISE_H

#include <cstdint>

namespace kelp {

// The noise generator of the low rates and of concealment: 16-bit, linear congruential.
constexpr uint32_t next_seed(uint32_t seed) {
  return (seed * 521 + 259) & 0xFFFF;
}

}  // namespace kelp

#endif  // KELP_COMMON_NOISE_H
