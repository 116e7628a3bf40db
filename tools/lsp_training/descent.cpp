// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "descent.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <random>

#include "dec/dequant.h"
#include "parallel.h"

namespace kelp::training {
namespace {

constexpr size_t kSteps = 2 * kRows;
constexpr size_t kBatch = 8192;  // frames per update

// Decoders conceal frames whose last LSP or whose narrowest span leave these limits. Quantized sets
// keep a margin, so that talkers who are not in the corpus do so too.
constexpr usable_lsps kLimits = kUsableAtHalfAndFullRate;
constexpr float kLastMin = kLimits.last_min;
constexpr float kLastMax = kLimits.last_max;
constexpr float kNarrowest = kLimits.width;
constexpr size_t kSpan = kLimits.span;
constexpr float kMargin = 100;
constexpr float kRefusalCost = 30;  // at the limit, rising evenly from the margin on

// By how many margins a set leaves the limits; `slope` takes the change with each LSP.
float trespass(const std::array<float, kOrder> &lsp, std::array<float, kOrder> *slope) {
  float sum = 0;
  const auto keep = [&](float excess, size_t up, size_t down) {
    if (excess <= 0) return;
    sum += excess / kMargin;
    if (slope == nullptr) return;
    if (up < kOrder) (*slope)[up] += 1 / kMargin;
    if (down < kOrder) (*slope)[down] -= 1 / kMargin;
  };
  keep(lsp[9] - (kLastMax - kMargin), 9, kOrder);
  keep(kLastMin + kMargin - lsp[9], kOrder, 9);
  for (size_t k = 0; k + kSpan < kOrder; k++) {
    keep(kNarrowest + kMargin - (lsp[k + kSpan] - lsp[k]), k, k + kSpan);
  }
  return sum;
}

// The fourth root, the same bits on every machine.
float fourth_root(float x) {
  return std::sqrt(std::sqrt(x));
}

// Adds an LSP's slope to the steps that it is the sum of.
void add_to_steps(const path &p, float slope, size_t lsp, std::vector<double> *gradient) {
  for (size_t k = 0; k <= lsp; k++) (*gradient)[2 * p.row[k / 2] + k % 2] += slope;
}

// How far a row misses what a frame asks of a split, at either LSP, and the encoder's error of it.
struct miss {
  float first, second;
  float error;
};
miss miss_of(const row_table &rows, const training_frame &frame, const path &p, size_t split,
             size_t row) {
  const float e1 = frame.lsp[2 * split] - p.below(split) - rows.first[row];
  const float e2 = frame.lsp[2 * split + 1] - p.below(split) - rows.both[row];
  return {e1, e2, e1 * e1 * frame.weight[2 * split] + e2 * e2 * frame.weight[2 * split + 1]};
}

// The cost of a frame jumps where another row becomes the nearest. Frames on the brink tell how
// often that happens as rows move: those whose two best rows are nearly tied count with a weight
// that falls to 0 at `width`.
void add_boundary(const row_table &rows, const training_frame &frame, const path &p,
                  float frame_cost, size_t split, float width, std::vector<double> *gradient) {
  const size_t best = p.row[split];
  const size_t other = nearest(rows, frame, split, p.below(split), best).row;
  const miss near = miss_of(rows, frame, p, split, best);
  const miss far = miss_of(rows, frame, p, split, other);
  const float mean_error = (near.error + far.error) / 2 + 1e-6F;
  const float apart = (far.error - near.error) / (width * mean_error);
  if (apart >= 1) return;

  path detour = p;
  detour.choose(rows, split, other);
  quantize_from(rows, frame, split + 1, &detour);
  const float jump = cost(squared_distance(frame, detour.lsp), detour.lsp) - frame_cost;
  // As the other row's error grows past that of the best one, fewer frames change over.
  const float slope = -frame.share * jump * (1 - apart) / (width * mean_error);

  const float weight1 = frame.weight[2 * split];
  const float weight2 = frame.weight[2 * split + 1];
  std::vector<double> &g = *gradient;
  g[2 * other] -= 2 * slope * (weight1 * far.first + weight2 * far.second);
  g[2 * other + 1] -= 2 * slope * weight2 * far.second;
  g[2 * best] += 2 * slope * (weight1 * near.first + weight2 * near.second);
  g[2 * best + 1] += 2 * slope * weight2 * near.second;
  if (split > 0) {  // the quantized LSP below moves both rows at once
    const float with_below =
        -2 * slope * (weight1 * (far.first - near.first) + weight2 * (far.second - near.second));
    add_to_steps(p, with_below, 2 * split - 1, gradient);
  }
}

// Adds a frame's part to the gradient; returns its cost.
double add_frame(const row_table &rows, const training_frame &frame, float width,
                 std::vector<double> *gradient) {
  path p;
  quantize_from(rows, frame, 0, &p);
  std::array<float, kOrder> slope{};
  const float squared = squared_distance(frame, p.lsp, &slope);
  const float frame_cost = cost(squared, p.lsp);

  std::array<float, kOrder> refusal{};
  trespass(p.lsp, &refusal);
  const float per_square = 1.25F * fourth_root(squared);
  for (size_t k = 0; k < kOrder; k++) {
    add_to_steps(p, frame.share * (per_square * slope[k] + kRefusalCost * refusal[k]), k, gradient);
  }
  for (size_t split = 0; split < kSplits; split++) {
    add_boundary(rows, frame, p, frame_cost, split, width, gradient);
  }
  return frame.share * frame_cost;
}

// The steps of all rows as real numbers, and those among them that may move.
struct step_vector {
  std::vector<double> value = std::vector<double>(kSteps);
  std::vector<bool> held = std::vector<bool>(kSteps);

  explicit step_vector(const codebooks &books) {
    for (size_t s = 0; s < kSplits; s++) {
      const step_range limits = codebooks::range(s);
      for (size_t r = 0; r < codebooks::size(s); r++) {
        const kelp_lsp_pair &pair = books.row(s, r);
        const size_t at = 2 * (kFirstRow[s] + r);
        for (const auto &[k, step] : {std::pair(at, pair.first), std::pair(at + 1, pair.second)}) {
          value[k] = step;
          held[k] = codebooks::is_fixed(s, r) || step == limits.smallest || step == limits.largest;
        }
      }
    }
  }

  // Takes every step that may move back into its range.
  void clamp() {
    for (size_t s = 0; s < kSplits; s++) {
      const step_range limits = codebooks::range(s);
      for (size_t k = 2 * kFirstRow[s]; k < 2 * kFirstRow[s + 1]; k += 2) {
        if (!held[k]) value[k] = std::clamp<double>(value[k], limits.smallest, limits.largest);
        const auto first = static_cast<int32_t>(std::lround(value[k]));
        const int32_t largest = codebooks::largest_second(s, first, codebooks::kTrainingSlack);
        if (!held[k + 1]) value[k + 1] = std::clamp<double>(value[k + 1], limits.smallest, largest);
      }
    }
  }

  row_table rows() const {
    row_table table;
    for (size_t r = 0; r < kRows; r++) {
      table.first[r] = static_cast<float>(value[2 * r]);
      table.both[r] = static_cast<float>(value[2 * r] + value[2 * r + 1]);
    }
    return table;
  }

  void round_to(codebooks *books) const {
    for (size_t s = 0; s < kSplits; s++) {
      for (size_t r = 0; r < codebooks::size(s); r++) {
        const size_t k = 2 * (kFirstRow[s] + r);
        books->row(s, r) = {static_cast<int32_t>(std::lround(value[k])),
                            static_cast<int32_t>(std::lround(value[k + 1]))};
      }
    }
  }
};

// Adam: every step moves by its mean slope in units of the slope's own spread.
class optimiser {
 public:
  void update(const std::vector<double> &gradient, double step, step_vector *steps) {
    decay1_ *= kMean;
    decay2_ *= kSpread;
    for (size_t k = 0; k < kSteps; k++) {
      if (steps->held[k]) continue;
      mean_[k] = kMean * mean_[k] + (1 - kMean) * gradient[k];
      square_[k] = kSpread * square_[k] + (1 - kSpread) * gradient[k] * gradient[k];
      const double slope = mean_[k] / (1 - decay1_);
      const double spread = std::sqrt(square_[k] / (1 - decay2_)) + 1e-9;
      steps->value[k] -= step * slope / spread;
    }
    steps->clamp();
  }

 private:
  static constexpr double kMean = 0.9;
  static constexpr double kSpread = 0.998;
  std::vector<double> mean_ = std::vector<double>(kSteps);
  std::vector<double> square_ = std::vector<double>(kSteps);
  double decay1_ = 1;
  double decay2_ = 1;
};

}  // namespace

float cost(float squared_distance, const std::array<float, kOrder> &lsp) {
  return squared_distance * fourth_root(squared_distance) + kRefusalCost * trespass(lsp, nullptr);
}

double cost_gradient(const std::vector<training_frame> &frames, const uint32_t *order, size_t count,
                     const row_table &rows, float width, std::vector<double> *gradient) {
  std::array<double, kChunks> sums{};
  std::vector<std::vector<double>> parts(kChunks, std::vector<double>(kSteps));
  in_chunks(count, [&](size_t chunk, size_t begin, size_t end) {
    for (size_t i = begin; i < end; i++) {
      sums[chunk] += add_frame(rows, frames[order[i]], width, &parts[chunk]);
    }
  });
  gradient->assign(kSteps, 0.0);
  const auto n = static_cast<double>(count);
  for (const auto &part : parts) {
    for (size_t k = 0; k < kSteps; k++) (*gradient)[k] += part[k] / n;
  }
  return std::accumulate(sums.begin(), sums.end(), 0.0) / n;
}

void descend(const std::vector<training_frame> &frames, const stage &plan, uint64_t seed,
             const std::function<void(int pass, double mean_cost)> &progress, codebooks *books) {
  step_vector steps(*books);
  optimiser adam;
  std::vector<double> gradient;
  std::vector<uint32_t> order(frames.size());
  std::iota(order.begin(), order.end(), 0U);
  std::mt19937_64 random(seed);
  const size_t batch = std::min(kBatch, frames.size());
  const size_t updates = frames.size() / batch;
  const auto all = static_cast<double>(updates) * plan.passes;
  size_t done = 0;
  for (int pass = 0; pass < plan.passes; pass++) {
    std::shuffle(order.begin(), order.end(), random);
    double sum = 0;
    for (size_t u = 0; u < updates; u++, done++) {
      const double left = 1 - static_cast<double>(done) / all;
      const auto width = static_cast<float>(plan.widest * (0.15 + 0.85 * left * left));
      sum += cost_gradient(frames, &order[u * batch], batch, steps.rows(), width, &gradient);
      adam.update(gradient, plan.boldest * (0.02 + left * left), &steps);
    }
    progress(pass, sum / static_cast<double>(updates));
  }
  steps.round_to(books);
  books->enforce_rules(codebooks::kTrainingSlack);
}

}  // namespace kelp::training
