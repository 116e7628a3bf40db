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
using spectrum_db = std::array<double, kBins>;
using square_matrix = std::array<std::array<double, kOrder>, kOrder>;

// LSPs of an order-10 LPC analysis of the windowed samples; none where it has no ten distinct roots
// (digital silence).
std::optional<lsp_vector> analyse(const double *windowed, size_t count);

// The spectrum 1 / |A|^2 in dB, without gain.
spectrum_db spectrum(const lsp_vector &lsp);

// Root mean square difference over the bins between a spectrum and that of an LSP set, dB.
double spectral_distance(const std::array<float, kBins> &reference_db, const lsp_vector &lsp);

// The quadratic form H for which a small step d of the LSPs costs d' H d, in squared dB of spectral
// distance.
square_matrix distance_hessian(const lsp_vector &lsp);

}  // namespace kelp::training

#endif  // KELP_TOOLS_LSP_TRAINING_SPECTRUM_H
