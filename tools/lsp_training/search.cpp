// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "search.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <numbers>

namespace kelp::training {
namespace {

// Sums and minima are taken lane by lane in a stated order, so that compilers may use registers of
// any width and all give the same bits.
constexpr size_t kLanes = 16;
using lanes = std::array<float, kLanes>;

constexpr double kRadians = std::numbers::pi / 32768;
constexpr float kDecibel = 4.34294481903F;            // 10 / ln 10
constexpr float kDecibelsPerOctave = 3.01029995664F;  // 10 log10(2)

// cos(pi w / 32768) for whole w, past the last LSP that the tables can add up to.
constexpr size_t kCosines = 65536;
const std::array<float, kCosines + 1> &cosine_table() {
  static const auto table = [] {
    std::array<float, kCosines + 1> t{};
    for (size_t w = 0; w <= kCosines; w++) {
      t[w] = static_cast<float>(std::cos(static_cast<double>(w) * kRadians));
    }
    return t;
  }();
  return table;
}

std::array<float, kOrder> cosines(const std::array<float, kOrder> &lsp) {
  const auto &table = cosine_table();
  std::array<float, kOrder> c{};
  for (size_t k = 0; k < kOrder; k++) {
    const float w = std::clamp(lsp[k], 0.F, static_cast<float>(kCosines - 1));
    const auto whole = static_cast<size_t>(w);
    c[k] = table[whole] + (w - static_cast<float>(whole)) * (table[whole + 1] - table[whole]);
  }
  return c;
}

// Per bin: cosine of its frequency, and the factors of both polynomials' powers there: the roots at
// +-1, cos^2(w / 2) and sin^2(w / 2), times 2^10.
struct bin_table {
  alignas(64) std::array<float, kBins> cosine, even, odd;
};
const bin_table &bins() {
  static const bin_table table = [] {
    bin_table t{};
    for (size_t b = 0; b < kBins; b++) {
      const double c = bin_cosine(b);
      t.cosine[b] = static_cast<float>(c);
      t.even[b] = static_cast<float>(512 * (1 + c));
      t.odd[b] = static_cast<float>(512 * (1 - c));
    }
    return t;
  }();
  return table;
}

// Logarithm to base 2 of a positive normal number, good to 1e-5.
inline float fast_log2(float x) {
  const auto bits = std::bit_cast<uint32_t>(x);
  const auto exponent = static_cast<float>(static_cast<int32_t>(bits >> 23) - 127);
  const float m = std::bit_cast<float>((bits & 0x7FFFFF) | 0x3F800000) - 1;
  // log2(1 + m): odd series in m / (m + 2).
  const float t = m / (m + 2);
  const float t2 = t * t;
  constexpr float kTwoLog2e = 2.885390081777927F;
  return exponent +
         kTwoLog2e * t * (1 + t2 * (1.F / 3 + t2 * (1.F / 5 + t2 * (1.F / 7 + t2 * (1.F / 9)))));
}

// Power of the inverse filter at bin b, as the parts of even and odd LSPs.
struct two_powers {
  float even, odd;
};
inline two_powers powers(const std::array<float, kOrder> &c, const bin_table &t, size_t b) {
  const float x = t.cosine[b];
  const float p = (x - c[0]) * (x - c[2]) * (x - c[4]) * (x - c[6]) * (x - c[8]);
  const float q = (x - c[1]) * (x - c[3]) * (x - c[5]) * (x - c[7]) * (x - c[9]);
  return {p * p * t.even[b], q * q * t.odd[b]};
}
constexpr float kLeastPower = 1e-30F;

float sum(const lanes &x) {
  float s = 0;
  for (const float v : x) s += v;
  return s;
}

}  // namespace

void spectrum_of(const std::array<float, kOrder> &lsp, std::array<float, kBins> *db) {
  const auto c = cosines(lsp);
  const bin_table &t = bins();
  for (size_t b = 0; b < kBins; b++) {
    const two_powers power = powers(c, t, b);
    (*db)[b] = -kDecibelsPerOctave * fast_log2(power.even + power.odd + kLeastPower);
  }
}

float squared_distance(const training_frame &frame, const std::array<float, kOrder> &lsp) {
  const auto c = cosines(lsp);
  const bin_table &t = bins();
  lanes total{};
  for (size_t b = 0; b < kBins; b += kLanes) {
    for (size_t i = 0; i < kLanes; i++) {
      const two_powers power = powers(c, t, b + i);
      const float difference = frame.reference_db[b + i] +
                               kDecibelsPerOctave * fast_log2(power.even + power.odd + kLeastPower);
      total[i] += difference * difference;
    }
  }
  return sum(total) / kBins;
}

float squared_distance(const training_frame &frame, const std::array<float, kOrder> &lsp,
                       std::array<float, kOrder> *gradient) {
  const auto c = cosines(lsp);
  const bin_table &t = bins();
  lanes total{};
  // Difference times the share of either polynomial in the power: an LSP moves only its own.
  alignas(64) std::array<std::array<float, kBins>, 2> share;
  for (size_t b = 0; b < kBins; b += kLanes) {
    for (size_t i = 0; i < kLanes; i++) {
      const two_powers power = powers(c, t, b + i);
      const float all = power.even + power.odd + kLeastPower;
      const float difference = frame.reference_db[b + i] + kDecibelsPerOctave * fast_log2(all);
      total[i] += difference * difference;
      share[0][b + i] = difference * power.even / all;
      share[1][b + i] = difference * power.odd / all;
    }
  }
  for (size_t k = 0; k < kOrder; k++) {
    lanes slope{};
    for (size_t b = 0; b < kBins; b += kLanes) {
      for (size_t i = 0; i < kLanes; i++) {
        const float apart = t.cosine[b + i] - c[k];
        slope[i] += share[k % 2][b + i] * apart / (apart * apart + 1e-10F);
      }
    }
    const float sine = std::sqrt(std::max(1 - c[k] * c[k], 0.F));
    (*gradient)[k] = sum(slope) * sine * static_cast<float>(kRadians) * 4 * kDecibel / kBins;
  }
  return sum(total) / kBins;
}

candidate nearest(const row_table &rows, const training_frame &frame, size_t split, float below,
                  size_t except) {
  const float target1 = frame.lsp[2 * split] - below;
  const float target2 = frame.lsp[2 * split + 1] - below;
  const float weight1 = frame.weight[2 * split];
  const float weight2 = frame.weight[2 * split + 1];
  lanes error;
  std::array<uint32_t, kLanes> row{};
  error.fill(1e30F);
  for (size_t at = kFirstRow[split]; at < kFirstRow[split + 1]; at += kLanes) {
    for (size_t i = 0; i < kLanes; i++) {
      const float e1 = target1 - rows.first[at + i];
      const float e2 = target2 - rows.both[at + i];
      const float e = e1 * e1 * weight1 + e2 * e2 * weight2;
      const auto r = static_cast<uint32_t>(at + i);
      const bool better = e < error[i] && r != static_cast<uint32_t>(except);
      error[i] = better ? e : error[i];
      row[i] = better ? r : row[i];
    }
  }
  candidate best = {row[0], error[0]};
  for (size_t i = 1; i < kLanes; i++) {
    if (error[i] < best.error || (error[i] == best.error && row[i] < best.row)) {
      best = {row[i], error[i]};
    }
  }
  return best;
}

void path::choose(const row_table &rows, size_t split, size_t chosen) {
  const float from = below(split);
  row[split] = chosen;
  lsp[2 * split] = from + rows.first[chosen];
  lsp[2 * split + 1] = from + rows.both[chosen];
}

void quantize_from(const row_table &rows, const training_frame &frame, size_t split, path *p) {
  for (size_t s = split; s < kSplits; s++) {
    p->choose(rows, s, nearest(rows, frame, s, p->below(s)).row);
  }
}

row_table rows_of(const codebooks &books) {
  row_table rows;
  for (size_t s = 0; s < kSplits; s++) {
    for (size_t r = 0; r < codebooks::size(s); r++) {
      const kelp_lsp_pair &pair = books.row(s, r);
      rows.first[kFirstRow[s] + r] = static_cast<float>(pair.first);
      rows.both[kFirstRow[s] + r] = static_cast<float>(pair.first + pair.second);
    }
  }
  return rows;
}

}  // namespace kelp::training
