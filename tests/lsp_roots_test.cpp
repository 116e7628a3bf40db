// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// The search for LSPs, whose brackets take turns, against one root after the other.

#include "common/fixed_point.h"
#include "enc/analysis.h"
#include "enc/lsp_quant.h"
#include "tables/analysis_tables.h"
#include "tests/support.h"

using namespace kelp;
using namespace kelp_test;

namespace {

using polynomial = std::array<int32_t, 6>;

int32_t evaluate(const polynomial &c, int32_t w) {
  int64_t sum = int64_t{c[5]} << 23;
  for (int i = 0; i < 5; i++) {
    const int32_t u = (5 - i) * w;
    const int64_t cosine = tbl_cosine_data[u % 32768 / 4];
    sum += c[static_cast<size_t>(i)] * (u / 32768 % 2 == 0 ? cosine : -cosine);
  }
  return static_cast<int32_t>((sum + (1 << 18)) >> 19);
}

// 0 when there is none, or it is at 0.
int32_t root_between(const polynomial &c, int32_t a, int32_t b) {
  const int32_t fa = evaluate(c, a);
  const int32_t fb = evaluate(c, b);
  if (fa == 0) return a;
  if (fb == 0 || (fa < 0) == (fb < 0)) return 0;
  for (int round = 0; round < 10; round++) {
    const int32_t mid = (a + b) / 2;
    if ((mid - a) * 800 < 32768) break;
    const int32_t fm = evaluate(c, mid);
    if (fm == 0) return mid;
    ((fa < 0) == (fm < 0) ? a : b) = mid;
  }
  return a;
}

std::vector<int32_t> lsps_of(const std::array<int16_t, kLpcOrder> &a) {
  polynomial p = {1024, -1024 - a[0] - a[9]};
  polynomial q = {1024, 1024 + a[9] - a[0]};
  for (size_t i = 2; i <= 5; i++) {
    p[i] = -(p[i - 1] + a[i - 1] + a[10 - i]);
    q[i] = q[i - 1] + a[10 - i] - a[i - 1];
  }
  std::vector<int32_t> sums;
  int32_t left = 0;
  for (const uint16_t right : kLspGrid) {
    if (const int32_t root = root_between(p, left, right); root != 0) sums.push_back(root);
    left = right;
  }
  if (sums.size() != 5) return {};
  sums.push_back(32768);
  std::vector<int32_t> lsps;
  for (size_t m = 0; m < 5; m++) {
    const int32_t root = root_between(q, sums[m], sums[m + 1]);
    if (root == 0) return {};
    lsps.insert(lsps.end(), {sums[m], root});
  }
  return lsps;
}

// Filters of any LSPs, nearly so, with few coefficients (their polynomials are 0 at points of the
// grid), and of any numbers up to the largest.
TEST(LspRoots, TakingTurnsChangesNothing) {
  random_numbers random(9);
  int found = 0, none = 0;
  for (int round = 0; round < 6000; round++) {
    std::array<int16_t, kLpcOrder> a = {};
    if (round % 3 == 0) {
      uint32_t index[5];
      int32_t lsp[kLpcOrder], lpc[kLpcOrder];
      random_lsps(&random, index, lsp);
      for (int32_t &each : lsp) each /= 2;
      kelpe_lsp_to_lpc(lsp, lpc);
      for (size_t i = 0; i < kLpcOrder; i++) a[i] = static_cast<int16_t>(lpc[i] / 16);
      int16_t &moved = a[random.below(10)];
      if (round % 2) moved = static_cast<int16_t>(moved + random.between(-300, 300));
    } else if (round % 3 == 1) {
      const int16_t size = static_cast<int16_t>(1 << random.below(12));
      for (int i = 0; i < 3; i++) a[random.below(10)] = random.below(2) ? size : int16_t(-size);
    } else {
      const int shift = static_cast<int>(random.below(10));
      for (int16_t &each : a) each = static_cast<int16_t>(random.between(-32768, 32767) >> shift);
      if (shift == 0) a[random.below(10)] = -32768;
    }
    const std::vector<int32_t> expected = lsps_of(a);
    std::vector<int32_t> lsps(kLpcOrder);
    if (!find_lsps(encoder_kernels_for(best_instruction_set()), a.data(), lsps.data())) lsps = {};
    ASSERT_EQ(lsps, expected) << round;
    (lsps.empty() ? none : found)++;
  }
  EXPECT_TRUE(found > 2000 && none > 2000) << found << ", " << none;
}

}  // namespace
