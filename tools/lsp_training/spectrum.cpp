// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "spectrum.h"

#include <bit>
#include <cmath>
#include <cstdint>
#include <numbers>

namespace kelp::training {
namespace {

constexpr double kRadians = std::numbers::pi / 32768;
constexpr double kDecibel = 10 / std::numbers::ln10;
constexpr float kDecibelsPerOctave = 3.01029995664F;  // 10 log10(2)

struct bin_table {
  std::array<double, kBins> cosine;
};
// Logarithm to base 2 of a positive normal number, good to 1e-5: the inner loop of training.
float fast_log2(float x) {
  const auto bits = std::bit_cast<uint32_t>(x);
  const auto exponent = static_cast<float>(static_cast<int32_t>(bits >> 23) - 127);
  const float m = std::bit_cast<float>((bits & 0x7FFFFF) | 0x3F800000) - 1;
  // log2(1 + m): odd series in m / (m + 2).
  const float t = m / (m + 2);
  const float t2 = t * t;
  constexpr float kLog2e = 2.885390081777927F;  // 2 / ln 2
  return exponent +
         kLog2e * t * (1 + t2 * (1.F / 3 + t2 * (1.F / 5 + t2 * (1.F / 7 + t2 * (1.F / 9)))));
}

// Bins in the middles of 128 equal bands.
const bin_table &bins() {
  static const bin_table table = [] {
    bin_table t{};
    for (size_t b = 0; b < kBins; b++) {
      t.cosine[b] = std::cos(std::numbers::pi * (static_cast<double>(b) + 0.5) / kBins);
    }
    return t;
  }();
  return table;
}

// |P|^2 and |Q|^2 at one frequency: products over even and odd LSPs, and the roots at +-1.
struct half_powers {
  double p, q;
};
half_powers powers(const std::array<double, kOrder> &cosine, double c) {
  double p = 1;
  double q = 1;
  for (size_t i = 0; i < kOrder; i += 2) {
    p *= 2 * (c - cosine[i]);
    q *= 2 * (c - cosine[i + 1]);
  }
  return {p * p * (1 + c) / 2, q * q * (1 - c) / 2};  // cos^2(w / 2), sin^2(w / 2)
}

std::array<double, kOrder> cosines(const lsp_vector &lsp) {
  std::array<double, kOrder> c{};
  for (size_t i = 0; i < kOrder; i++) c[i] = std::cos(lsp[i] * kRadians);
  return c;
}

// Autocorrelation and Levinson-Durbin: a[1 .. 10] of A(z) = 1 + sum of a_i z^-i.
bool predict(const double *x, size_t count, std::array<double, kOrder + 1> *a) {
  std::array<double, kOrder + 1> r{};
  for (size_t j = 0; j <= kOrder; j++) {
    for (size_t n = 0; n + j < count; n++) r[j] += x[n] * x[n + j];
  }
  if (r[0] <= 0) return false;
  a->fill(0);
  (*a)[0] = 1;
  double error = r[0];
  for (size_t i = 1; i <= kOrder; i++) {
    double sum = 0;
    for (size_t j = 0; j < i; j++) sum += (*a)[j] * r[i - j];
    const double k = -sum / error;
    const auto old = *a;
    for (size_t j = 1; j <= i; j++) (*a)[j] = old[j] + k * old[i - j];
    error *= 1 - k * k;
    if (!(error > 0)) return false;
  }
  return true;
}

// Sum or difference polynomial in the Chebyshev form, at x = cos w.
double chebyshev(const std::array<double, 6> &c, double x) {
  double b1 = 0;
  double b2 = 0;
  for (size_t i = 0; i < 5; i++) {
    const double b0 = c[i] + 2 * x * b1 - b2;
    b2 = b1;
    b1 = b0;
  }
  return c[5] / 2 + x * b1 - b2;
}

double bisect(const std::array<double, 6> &c, double low, double high) {
  const bool rising = chebyshev(c, std::cos(low)) < 0;
  for (int round = 0; round < 50; round++) {
    const double mid = (low + high) / 2;
    ((chebyshev(c, std::cos(mid)) < 0) == rising ? low : high) = mid;
  }
  return (low + high) / 2;
}

}  // namespace

std::optional<lsp_vector> analyse(const double *windowed, size_t count) {
  std::array<double, kOrder + 1> a{};
  if (!predict(windowed, count, &a)) return std::nullopt;
  std::array<double, 6> p{1};
  std::array<double, 6> q{1};
  for (size_t i = 1; i <= 5; i++) {
    p[i] = a[i] + a[11 - i] - p[i - 1];
    q[i] = a[i] - a[11 - i] + q[i - 1];
  }

  // Roots of both alternate: walk a fine grid, looking for the one that is due.
  constexpr int kGrid = 2048;
  lsp_vector lsp{};
  size_t found = 0;
  for (int g = 0; g < kGrid && found < kOrder; g++) {
    const double low = std::numbers::pi * g / kGrid;
    const double high = std::numbers::pi * (g + 1) / kGrid;
    for (int both = 0; both < 2 && found < kOrder; both++) {
      const auto &due = found % 2 == 0 ? p : q;
      if (chebyshev(due, std::cos(low)) * chebyshev(due, std::cos(high)) > 0) break;
      const double root = bisect(due, low, high) / kRadians;
      if (found > 0 && root <= lsp[found - 1]) break;
      lsp[found++] = root;
    }
  }
  if (found != kOrder) return std::nullopt;
  return lsp;
}

spectrum_db spectrum(const lsp_vector &lsp) {
  const auto c = cosines(lsp);
  spectrum_db result{};
  for (size_t b = 0; b < kBins; b++) {
    const half_powers power = powers(c, bins().cosine[b]);
    result[b] = -kDecibel * std::log(power.p + power.q + 1e-30);
  }
  return result;
}

double spectral_distance(const std::array<float, kBins> &reference_db, const lsp_vector &lsp) {
  const auto c = cosines(lsp);
  std::array<float, kBins> power;
  for (size_t b = 0; b < kBins; b++) {
    const half_powers half = powers(c, bins().cosine[b]);
    power[b] = static_cast<float>(half.p + half.q + 1e-30);
  }
  float sum = 0;
  for (size_t b = 0; b < kBins; b++) {
    const float difference = reference_db[b] + kDecibelsPerOctave * fast_log2(power[b]);
    sum += difference * difference;
  }
  return std::sqrt(sum / kBins);
}

square_matrix distance_hessian(const lsp_vector &lsp) {
  const auto c = cosines(lsp);
  square_matrix h{};
  for (size_t b = 0; b < kBins; b++) {
    const double x = bins().cosine[b];
    const half_powers power = powers(c, x);
    // d log(|P|^2 + |Q|^2) / d lsp_i; an LSP moves only its own polynomial.
    std::array<double, kOrder> slope{};
    for (size_t i = 0; i < kOrder; i++) {
      const double share = (i % 2 == 0 ? power.p : power.q) / (power.p + power.q + 1e-30);
      const double distance = x - c[i];
      if (std::abs(distance) < 1e-9) continue;  // the polynomial is zero here, and so is its share
      slope[i] = kDecibel * share * 2 * std::sin(lsp[i] * kRadians) * kRadians / distance;
    }
    for (size_t i = 0; i < kOrder; i++) {
      for (size_t j = 0; j < kOrder; j++) h[i][j] += slope[i] * slope[j] / kBins;
    }
  }
  return h;
}

}  // namespace kelp::training
