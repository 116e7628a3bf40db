// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "initial.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>

#include "parallel.h"

namespace kelp::training {
namespace {

constexpr int kRounds = 15;

// What one split sees of a frame: the position of both LSPs above the quantized one below, and the
// cost of an error in each.
struct split_target {
  double first, second;
  double weight1, weight2;
};

lsp_vector positions(const speech_frame &frame) {
  lsp_vector lsp{};
  std::copy(frame.exact.begin(), frame.exact.end(), lsp.begin());
  return lsp;
}

size_t nearest(const std::vector<kelp_lsp_pair> &rows, const split_target &t) {
  size_t best = 0;
  double best_cost = std::numeric_limits<double>::max();
  for (size_t r = 0; r < rows.size(); r++) {
    const double e1 = t.first - rows[r].first;
    const double e2 = t.second - rows[r].first - rows[r].second;
    const double cost = t.weight1 * e1 * e1 + t.weight2 * e2 * e2;
    if (cost < best_cost) {
      best_cost = cost;
      best = r;
    }
  }
  return best;
}

int32_t rounded(double x) {
  return static_cast<int32_t>(std::lround(x));
}

// One split by k-means, starting from random frames.
std::vector<kelp_lsp_pair> train_split(const std::vector<split_target> &targets, size_t split,
                                       const codebooks &books, std::mt19937_64 *random) {
  std::vector<kelp_lsp_pair> rows;
  for (size_t r = 0; r < codebooks::size(split); r++) {
    const split_target &t = targets[(*random)() % targets.size()];
    rows.push_back(codebooks::is_fixed(split, r)
                       ? books.row(split, r)
                       : kelp_lsp_pair{rounded(t.first), rounded(t.second - t.first)});
  }
  const step_range limits = codebooks::range(split);
  struct centroid {
    double first, weight1, second, weight2;
  };
  for (int round = 0; round < kRounds; round++) {
    std::vector<std::vector<centroid>> sums(kChunks, std::vector<centroid>(rows.size()));
    in_chunks(targets.size(), [&](size_t chunk, size_t begin, size_t end) {
      for (size_t i = begin; i < end; i++) {
        const split_target &t = targets[i];
        centroid &c = sums[chunk][nearest(rows, t)];
        c.first += t.weight1 * t.first;
        c.weight1 += t.weight1;
        c.second += t.weight2 * t.second;
        c.weight2 += t.weight2;
      }
    });
    for (size_t r = 0; r < rows.size(); r++) {
      if (codebooks::is_fixed(split, r)) continue;
      centroid c{};
      for (const auto &chunk : sums) {
        c.first += chunk[r].first;
        c.weight1 += chunk[r].weight1;
        c.second += chunk[r].second;
        c.weight2 += chunk[r].weight2;
      }
      if (c.weight1 <= 0 || c.weight2 <= 0) {  // nobody's nearest: try elsewhere
        const split_target &t = targets[(*random)() % targets.size()];
        c = {t.first, 1, t.second, 1};
      }
      const double first = c.first / c.weight1;
      const double second = c.second / c.weight2;
      rows[r] = {std::clamp(rounded(first), limits.smallest, limits.largest),
                 std::clamp(rounded(second - first), limits.smallest, limits.largest)};
    }
  }
  return rows;
}

}  // namespace

void train_initial(const std::vector<speech_frame> &frames, uint64_t seed, codebooks *books) {
  std::mt19937_64 random(seed);
  std::vector<std::array<float, kOrder>> weight(frames.size());
  in_chunks(frames.size(), [&](size_t, size_t begin, size_t end) {
    for (size_t i = begin; i < end; i++) {
      const square_matrix h = distance_hessian(positions(frames[i]));
      for (size_t k = 0; k < kOrder; k++) weight[i][k] = static_cast<float>(h[k][k]);
    }
  });

  std::vector<double> below(frames.size(), 0.0);
  std::vector<split_target> targets(frames.size());
  for (size_t split = 0; split < kSplits; split++) {
    const size_t k = 2 * split;
    for (size_t i = 0; i < frames.size(); i++) {
      targets[i] = {frames[i].exact[k] - below[i], frames[i].exact[k + 1] - below[i], weight[i][k],
                    weight[i][k + 1]};
    }
    const auto rows = train_split(targets, split, *books, &random);
    for (size_t r = 0; r < rows.size(); r++) books->row(split, r) = rows[r];
    for (size_t i = 0; i < frames.size(); i++) {
      const kelp_lsp_pair &chosen = rows[nearest(rows, targets[i])];
      below[i] += chosen.first + chosen.second;
    }
  }
  books->enforce_rules();
}

}  // namespace kelp::training
