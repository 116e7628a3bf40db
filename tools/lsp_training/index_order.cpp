// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "index_order.h"

#include <algorithm>
#include <bit>
#include <numeric>
#include <random>

#include "parallel.h"

namespace kelp::training {
namespace {

constexpr size_t kFramesPerRow = 200;
constexpr size_t kExchanges = 4000000;
constexpr size_t kFirstTrained = 4;

size_t split_of(size_t row) {
  return static_cast<size_t>(std::upper_bound(kFirstRow.begin(), kFirstRow.end(), row) -
                             kFirstRow.begin() - 1);
}

size_t index_bits(size_t split) {
  return static_cast<size_t>(std::countr_zero(codebooks::size(split)));
}

// LSPs of a path of which one row is received wrongly: all above it shift.
std::array<float, kOrder> received(const row_table &rows, const path &sent, size_t split,
                                   size_t row) {
  path p = sent;
  for (size_t s = split; s < kSplits; s++) p.choose(rows, s, s == split ? row : sent.row[s]);
  return p.lsp;
}

// Harm of all wrong bits that involve index i when row `row` is there, both ways.
double harm_around(const harm_table &harm, size_t split, const std::vector<size_t> &row_at,
                   size_t i, size_t row) {
  double sum = 0;
  for (size_t bit = 0; bit < index_bits(split); bit++) {
    const size_t other = row_at[i ^ (size_t{1} << bit)];
    sum += harm.at(split, row, other) + harm.at(split, other, row);
  }
  return sum;
}

}  // namespace

harm_table::harm_table(const std::vector<training_frame> &frames, const codebooks &books) {
  const row_table rows = rows_of(books);
  std::vector<path> paths(frames.size());
  in_chunks(frames.size(), [&](size_t, size_t begin, size_t end) {
    for (size_t i = begin; i < end; i++) quantize_from(rows, frames[i], 0, &paths[i]);
  });
  std::vector<double> sent(kRows);
  std::vector<std::vector<size_t>> examples(kRows);
  for (size_t i = 0; i < frames.size(); i++) {
    for (const size_t row : paths[i].row) {
      sent[row]++;
      if (examples[row].size() < kFramesPerRow) examples[row].push_back(i);
    }
  }
  for (size_t s = 0; s < kSplits; s++) harm_[s].resize(codebooks::size(s) * codebooks::size(s));
  in_chunks(kRows, [&](size_t, size_t begin, size_t end) {
    for (size_t row = begin; row < end; row++) {
      const size_t split = split_of(row);
      const size_t size = codebooks::size(split);
      double *const harm = &harm_[split][(row - kFirstRow[split]) * size];
      const double share = sent[row] / static_cast<double>(frames.size());
      const auto count = static_cast<double>(examples[row].size());
      for (const size_t i : examples[row]) {
        training_frame clean{};
        spectrum_of(paths[i].lsp, &clean.reference_db);
        for (size_t r = 0; r < size; r++) {
          const auto lsp = received(rows, paths[i], split, kFirstRow[split] + r);
          harm[r] += share / count * squared_distance(clean, lsp);
        }
      }
    }
  });
}

row_order natural_order() {
  row_order order;
  for (size_t s = 0; s < kSplits; s++) {
    order[s].resize(codebooks::size(s));
    std::iota(order[s].begin(), order[s].end(), size_t{0});
  }
  return order;
}

row_order random_order(uint64_t seed) {
  row_order order = natural_order();
  std::mt19937_64 random(seed);
  for (auto &row_at : order) {
    std::shuffle(row_at.begin() + kFirstTrained, row_at.end() - 1, random);
  }
  return order;
}

double harm_of_a_bit(const harm_table &harm, const row_order &order) {
  double sum = 0;
  size_t bits = 0;
  for (size_t s = 0; s < kSplits; s++) {
    bits += index_bits(s);
    for (size_t i = 0; i < order[s].size(); i++) {
      for (size_t bit = 0; bit < index_bits(s); bit++) {
        sum += harm.at(s, order[s][i], order[s][i ^ (size_t{1} << bit)]);
      }
    }
  }
  return sum / static_cast<double>(bits);
}

row_order gentle_order(const harm_table &harm, uint64_t seed) {
  row_order order = natural_order();
  std::mt19937_64 random(seed);
  for (size_t s = 0; s < kSplits; s++) {
    std::vector<size_t> &row_at = order[s];
    const size_t trained = row_at.size() - kFirstTrained - 1;
    double all = 0;
    for (size_t i = 0; i < row_at.size(); i++) all += harm_around(harm, s, row_at, i, row_at[i]);
    const double scale = 0.3 * all / static_cast<double>(row_at.size());
    for (size_t n = 0; n < kExchanges; n++) {
      const double left = 1 - static_cast<double>(n) / kExchanges;
      const size_t a = kFirstTrained + random() % trained;
      const size_t b = kFirstTrained + random() % trained;
      if (a == b) continue;
      const double before =
          harm_around(harm, s, row_at, a, row_at[a]) + harm_around(harm, s, row_at, b, row_at[b]);
      std::swap(row_at[a], row_at[b]);
      const double after =
          harm_around(harm, s, row_at, a, row_at[a]) + harm_around(harm, s, row_at, b, row_at[b]);
      const double threshold =
          scale * left * left * left * static_cast<double>(random() % 1024) / 1024;
      if (after - before > threshold) std::swap(row_at[a], row_at[b]);
    }
  }
  return order;
}

void reorder(const row_order &order, codebooks *books) {
  const codebooks before = *books;
  for (size_t s = 0; s < kSplits; s++) {
    for (size_t i = 0; i < order[s].size(); i++) books->row(s, i) = before.row(s, order[s][i]);
  }
}

}  // namespace kelp::training
