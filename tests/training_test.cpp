// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// The trainer's arithmetic. Frames are random LSP sets; what the trainer makes of speech is judged
// by lsp_report.

#include <cmath>
#include <numeric>

#include "codebooks.h"
#include "descent.h"
#include "index_order.h"
#include "measure.h"
#include "support.h"

using namespace kelp::training;

namespace {

std::vector<speech_frame> random_frames(size_t count) {
  kelp_test::random_numbers random(5);
  std::vector<speech_frame> frames(count);
  for (speech_frame &frame : frames) {
    int32_t lsp = 0;
    for (size_t k = 0; k < kOrder; k++) {
      lsp += random.between(1200, 4800);
      frame.lsp[k] = lsp;
      frame.exact[k] = static_cast<float>(lsp) + 26;
      frame.weight[k] = random.between(1 << 20, 1 << 28);
    }
    const float scale = 28000.F / static_cast<float>(lsp);  // the last LSP at 3.4 kHz
    for (size_t k = 0; k < kOrder; k++) {
      frame.lsp[k] = static_cast<int32_t>(static_cast<float>(frame.lsp[k]) * scale);
      frame.exact[k] *= scale;
    }
  }
  return frames;
}

}  // namespace

// Training runs in single precision what the encoder and the report run exactly.
TEST(Training, FastArithmeticFollowsTheExact) {
  const auto frames = random_frames(20000);
  const auto fast = prepare(frames);
  const codebooks books;
  const row_table rows = rows_of(books);
  size_t other_rows = 0;
  for (size_t i = 0; i < frames.size(); i++) {
    path p;
    quantize_from(rows, fast[i], 0, &p);
    index_vector index;
    books.quantize(frames[i], &index);
    bool same = true;
    for (size_t s = 0; s < kSplits; s++) same = same && p.row[s] == kFirstRow[s] + index[s];
    if (!same) {
      other_rows++;
      continue;
    }
    const double exact = judge(frames[i], books).distance_db;
    ASSERT_NEAR(std::sqrt(squared_distance(fast[i], p.lsp)), exact, 2e-3) << i;
  }
  EXPECT_LT(other_rows, 5U);  // ties
}

// Moves along the slope and against it differ in cost by what the slope foretells, though frames
// change over to other rows on the way.
TEST(Training, GradientForetellsTheCost) {
  const auto frames = prepare(random_frames(100000));
  std::vector<uint32_t> order(frames.size());
  std::iota(order.begin(), order.end(), 0U);
  const row_table rows = rows_of(codebooks());
  std::vector<double> gradient;
  cost_gradient(frames, order.data(), order.size(), rows, 0.3F, &gradient);
  double steepest = 0;
  for (const double slope : gradient) steepest = std::max(steepest, std::abs(slope));
  double foretold = 0;
  for (const double slope : gradient) foretold += 2 * 30 * slope * slope / steepest;
  const auto cost_at = [&](double move) {
    row_table moved = rows;
    for (size_t row = 0; row < kRows; row++) {
      const double first = move * gradient[2 * row] / steepest;
      const double second = move * gradient[2 * row + 1] / steepest;
      moved.first[row] += static_cast<float>(first);
      moved.both[row] += static_cast<float>(first + second);
    }
    std::vector<double> unused;
    return cost_gradient(frames, order.data(), order.size(), moved, 0.3F, &unused);
  };
  EXPECT_NEAR((cost_at(30) - cost_at(-30)) / foretold, 1, 0.15);
}

TEST(Training, KeepsItsRulesAndRepeats) {
  const auto frames = random_frames(20000);
  const auto fast = prepare(frames);
  const codebooks library;
  codebooks books[2];
  double first_cost = 0;
  double last_cost = 0;
  for (codebooks &b : books) {
    b.scatter(frames, 3);
    const auto keep_cost = [&](int pass, double cost) {
      (pass == 0 ? first_cost : last_cost) = cost;
    };
    descend(fast, {20, 20, 0.35}, 3, keep_cost, &b);
    EXPECT_LT(last_cost, 0.8 * first_cost);
  }
  const harm_table harm(fast, books[0]);
  const row_order order = gentle_order(harm, 3);
  EXPECT_LT(harm_of_a_bit(harm, order), 0.6 * harm_of_a_bit(harm, random_order(3)));
  reorder(order, &books[0]);
  reorder(order, &books[1]);
  for (size_t s = 0; s < kSplits; s++) {
    int32_t smallest = INT32_MAX;
    int32_t largest = 0;
    for (size_t r = 0; r < codebooks::size(s); r++) {
      const kelp_lsp_pair &pair = books[0].row(s, r);
      smallest = std::min({smallest, pair.first, pair.second});
      largest = std::max({largest, pair.first, pair.second});
      EXPECT_EQ(pair.first, books[1].row(s, r).first);
      EXPECT_EQ(pair.second, books[1].row(s, r).second);
      if (!codebooks::is_fixed(s, r)) continue;
      EXPECT_EQ(pair.first, library.row(s, r).first);
      EXPECT_EQ(pair.second, library.row(s, r).second);
    }
    EXPECT_EQ(smallest, codebooks::range(s).smallest);
    EXPECT_EQ(largest, codebooks::range(s).largest);
  }
}
