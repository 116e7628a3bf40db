// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// Spectra of line spectral pairs in double precision: what the codebooks are trained on and
// measured by. LSPs are in Q16 of the sampling rate, 32768 being half of it.
#ifndef KELP_TOOLS_LSP_TRAINING_SPECTRUM_H
#define KELP_TOOLS_LSP_TRAINING_SPECTRUM_H

#include <array>
#include <cstddef>
#include <optional>

namespace kelp::training {

inline constexpr size_t kOrder = 10;
inline constexpr size_t kBins = 128;  // over 0 to 4 kHz
using lsp_vector = std::array<double, kOrder>;

// LSPs of an order-10 LPC analysis of the windowed samples; none where it has no ten distinct roots
// (digital silence).
std::optional<lsp_vector> analyse(const double *windowed, size_t count);

// Cosine of a bin's frequency, in the middle of its band.
double bin_cosine(size_t bin);

// Root mean square difference over the bins between the spectra 1 / |A|^2 of two LSP sets, dB.
double spectral_distance(const lsp_vector &one, const lsp_vector &other);

}  // namespace kelp::training

#endif  // KELP_TOOLS_LSP_TRAINING_SPECTRUM_H
