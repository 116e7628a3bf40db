// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "refine.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>
#include <random>

#include "parallel.h"

namespace kelp::training {
namespace {

constexpr size_t kSteps = 2 * (64 + 128 + 128 + 64 + 64);  // unknowns: two steps a row

// Unknown of step k (0 .. 9) for a row.
size_t unknown(size_t k, const index_vector &index) {
  size_t row = index[k / 2];
  for (size_t s = 0; s < k / 2; s++) row += codebooks::size(s);
  return 2 * row + k % 2;
}

lsp_vector exact_lsp(const speech_frame &frame) {
  lsp_vector lsp{};
  std::copy(frame.exact.begin(), frame.exact.end(), lsp.begin());
  return lsp;
}

struct frame_result {
  index_vector index;
  double distance;
};
frame_result try_frame(const training_frame &frame, const codebooks &books) {
  frame_result result{};
  const lsp_vector quantized = books.quantize(frame.speech, &result.index);
  result.distance = spectral_distance(frame.reference_db, quantized);
  return result;
}

struct tally {
  double sum = 0, cube = 0;
  size_t count = 0, above2 = 0, above4 = 0;
  void add(double d) {
    sum += d;
    cube += d * d * d;
    count++;
    above2 += d > 2;
    above4 += d > 4;
  }
};
distortion summarise(const std::array<tally, kChunks> &tallies) {
  tally all;
  for (const tally &t : tallies) {
    all.sum += t.sum;
    all.cube += t.cube;
    all.count += t.count;
    all.above2 += t.above2;
    all.above4 += t.above4;
  }
  const auto n = static_cast<double>(std::max<size_t>(all.count, 1));
  return {all.sum / n, static_cast<double>(all.above2) / n, static_cast<double>(all.above4) / n,
          all.cube / n};
}

// Normal equations over all steps, lower triangle.
struct equations {
  std::vector<double> matrix = std::vector<double>(kSteps * kSteps);
  std::vector<double> right = std::vector<double>(kSteps);

  // A frame's weighted quadratic form in its LSPs, taken to the ten steps whose running sums they
  // are.
  void add(const index_vector &index, const training_frame &frame, double weight) {
    square_matrix g{};
    for (size_t i = 0, at = 0; i < kOrder; i++) {
      for (size_t j = 0; j <= i; j++) g[i][j] = g[j][i] = frame.hessian[at++];
    }
    std::array<double, kOrder> r{};
    for (size_t i = 0; i < kOrder; i++) {
      for (size_t j = 0; j < kOrder; j++) r[i] += g[i][j] * frame.speech.exact[j];
    }
    for (size_t i = kOrder - 1; i-- > 0;) {
      r[i] += r[i + 1];
      for (size_t j = 0; j < kOrder; j++) g[i][j] += g[i + 1][j];
    }
    for (size_t j = kOrder - 1; j-- > 0;) {
      for (size_t i = 0; i < kOrder; i++) g[i][j] += g[i][j + 1];
    }
    for (size_t i = 0; i < kOrder; i++) {
      const size_t row = unknown(i, index);
      right[row] += weight * r[i];
      for (size_t j = 0; j <= i; j++) matrix[row * kSteps + unknown(j, index)] += weight * g[i][j];
    }
  }

  void add(const equations &other) {
    for (size_t i = 0; i < matrix.size(); i++) matrix[i] += other.matrix[i];
    for (size_t i = 0; i < right.size(); i++) right[i] += other.right[i];
  }
};

// Solves for the steps that may move, the others held at `current`; Cholesky.
std::vector<double> solve(equations eq, const std::vector<double> &current,
                          const std::vector<bool> &held) {
  std::vector<double> &m = eq.matrix;
  for (size_t i = 0; i < kSteps; i++) {
    for (size_t j = 0; j <= i; j++) {
      if (i == j) continue;
      if (held[j] && !held[i]) eq.right[i] -= m[i * kSteps + j] * current[j];
      if (held[i] && !held[j]) eq.right[j] -= m[i * kSteps + j] * current[i];
      if (held[i] || held[j]) m[i * kSteps + j] = 0;
    }
  }
  for (size_t i = 0; i < kSteps; i++) {
    // A little pull to where a row is keeps rows that few frames choose in place.
    const double pull = held[i] ? 1 : 1e-3 * m[i * kSteps + i] + 1e-6;
    if (held[i]) {
      m[i * kSteps + i] = 0;
      eq.right[i] = 0;
    }
    m[i * kSteps + i] += pull;
    eq.right[i] += pull * current[i];
  }
  std::vector<double> &x = eq.right;
  for (size_t i = 0; i < kSteps; i++) {
    double *const row = &m[i * kSteps];
    for (size_t j = 0; j <= i; j++) {
      const double *const other = &m[j * kSteps];
      const double dot = std::inner_product(row, row + j, other, 0.0);
      row[j] = j < i ? (row[j] - dot) / other[j] : std::sqrt(row[i] - dot);
    }
    x[i] = (x[i] - std::inner_product(row, row + i, x.begin(), 0.0)) / row[i];
  }
  for (size_t i = kSteps; i-- > 0;) {
    x[i] /= m[i * kSteps + i];
    for (size_t j = 0; j < i; j++) x[j] -= m[i * kSteps + j] * x[i];
  }
  return x;
}

// Visits every row's first unknown with its place.
template <typename Visit>
void for_each_row(const Visit &visit) {
  size_t at = 0;
  for (size_t s = 0; s < kSplits; s++) {
    for (size_t r = 0; r < codebooks::size(s); r++, at += 2) visit(s, r, at);
  }
}

}  // namespace

std::vector<training_frame> prepare(const std::vector<speech_frame> &frames) {
  std::vector<training_frame> result(frames.size());
  in_chunks(frames.size(), [&](size_t, size_t begin, size_t end) {
    for (size_t n = begin; n < end; n++) {
      training_frame &frame = result[n];
      frame.speech = frames[n];
      const lsp_vector lsp = exact_lsp(frames[n]);
      const spectrum_db reference = spectrum(lsp);
      std::copy(reference.begin(), reference.end(), frame.reference_db.begin());
      const square_matrix h = distance_hessian(lsp);
      for (size_t i = 0, at = 0; i < kOrder; i++) {
        for (size_t j = 0; j <= i; j++) frame.hessian[at++] = static_cast<float>(h[i][j]);
      }
    }
  });
  return result;
}

distortion measure(const std::vector<training_frame> &frames, const codebooks &books) {
  std::array<tally, kChunks> tallies;
  in_chunks(frames.size(), [&](size_t chunk, size_t begin, size_t end) {
    for (size_t i = begin; i < end; i++) tallies[chunk].add(try_frame(frames[i], books).distance);
  });
  return summarise(tallies);
}

distortion refine(const std::vector<training_frame> &frames, double step, codebooks *books) {
  std::array<tally, kChunks> tallies;
  std::vector<equations> parts(kChunks);
  in_chunks(frames.size(), [&](size_t chunk, size_t begin, size_t end) {
    for (size_t i = begin; i < end; i++) {
      const frame_result result = try_frame(frames[i], *books);
      tallies[chunk].add(result.distance);
      // d^3 is d^2 weighted by d, which is taken from the round before.
      parts[chunk].add(result.index, frames[i], result.distance);
    }
  });
  for (size_t c = 1; c < kChunks; c++) parts[0].add(parts[c]);

  std::vector<double> current(kSteps);
  std::vector<bool> held(kSteps);
  for_each_row([&](size_t s, size_t r, size_t at) {
    current[at] = books->row(s, r).first;
    current[at + 1] = books->row(s, r).second;
    held[at] = held[at + 1] = codebooks::is_fixed(s, r);
  });
  const std::vector<double> best = solve(std::move(parts[0]), current, held);
  for_each_row([&](size_t s, size_t r, size_t at) {
    if (held[at]) return;
    const auto moved = [&](size_t k) {
      return static_cast<int32_t>(std::lround(current[k] + step * (best[k] - current[k])));
    };
    books->row(s, r) = {moved(at), moved(at + 1)};
  });
  books->enforce_rules();
  return summarise(tallies);
}

void relocate_rows(const std::vector<training_frame> &frames, size_t split, size_t count,
                   uint64_t seed, codebooks *books) {
  const size_t rows = codebooks::size(split);
  std::vector<std::vector<double>> parts(kChunks, std::vector<double>(rows));
  in_chunks(frames.size(), [&](size_t chunk, size_t begin, size_t end) {
    for (size_t i = begin; i < end; i++) {
      const frame_result result = try_frame(frames[i], *books);
      parts[chunk][result.index[split]] += result.distance * result.distance * result.distance;
    }
  });
  std::vector<double> cost(rows);
  for (const auto &part : parts) {
    for (size_t r = 0; r < rows; r++) cost[r] += part[r];
  }
  std::vector<size_t> order;
  for (size_t r = 0; r < rows; r++) {
    if (!codebooks::is_fixed(split, r)) order.push_back(r);
  }
  std::sort(order.begin(), order.end(), [&](size_t a, size_t b) { return cost[a] < cost[b]; });

  std::mt19937_64 random(seed);
  for (size_t k = 0; k < count; k++) {
    // One of the cheapest rows goes to the side of a costly one; refinement pulls the two apart.
    const size_t mover = order[random() % (order.size() / 4)];
    std::vector<double> odds(cost);
    odds[mover] = 0;
    for (double &o : odds) o *= o;
    const size_t target = std::discrete_distribution<size_t>(odds.begin(), odds.end())(random);
    const kelp_lsp_pair &near = books->row(split, target);
    const auto aside = [&](int32_t x) {
      return x + static_cast<int32_t>(random() % 3 - 1) * std::max(x / 12, 8);
    };
    books->row(split, mover) = {aside(near.first), aside(near.second)};
  }
  books->enforce_rules();
}

}  // namespace kelp::training
