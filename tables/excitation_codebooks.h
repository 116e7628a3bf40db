// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
#ifndef KELP_TABLES_EXCITATION_CODEBOOKS_H
#define KELP_TABLES_EXCITATION_CODEBOOKS_H

#include <array>
#include <cstdint>

namespace kelp {

// A codebook of 128 samples and, behind them, those from its start on that a subframe of 40 which
// is entered at the last one reaches, in whole eights.
using circular_codebook = std::array<int16_t, 128 + 40>;
extern const circular_codebook kFullRateCodebook, kHalfRateCodebook;

}  // namespace kelp

#endif  // KELP_TABLES_EXCITATION_CODEBOOKS_H
