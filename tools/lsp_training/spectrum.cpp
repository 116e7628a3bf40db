// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "spectrum.h"

#include <cmath>
#include <numbers>

namespace kelp::training {
namespace {

constexpr double kRadians = std::numbers::pi / 32768;
constexpr double kDecibel = 10 / std::numbers::ln10;

// |A|^2 at the frequency of cosine x: products over even and odd LSPs, and the roots at +-1.
double power(const std::array<double, kOrder> &cosine, double x) {
  double p = 1;
  double q = 1;
  for (size_t i = 0; i < kOrder; i += 2) {
    p *= 2 * (x - cosine[i]);
    q *= 2 * (x - cosine[i + 1]);
  }
  return p * p * (1 + x) / 2 + q * q * (1 - x) / 2 + 1e-30;  // cos^2(w / 2), sin^2(w / 2)
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
    const std::array<double, kOrder + 1> old = *a;
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

double bin_cosine(size_t bin) {
  return std::cos(std::numbers::pi * (static_cast<double>(bin) + 0.5) / kBins);
}

double spectral_distance(const lsp_vector &one, const lsp_vector &other) {
  const auto c1 = cosines(one);
  const auto c2 = cosines(other);
  double sum = 0;
  for (size_t b = 0; b < kBins; b++) {
    const double x = bin_cosine(b);
    const double difference = kDecibel * std::log(power(c1, x) / power(c2, x));
    sum += difference * difference;
  }
  return std::sqrt(sum / kBins);
}

}  // namespace kelp::training
