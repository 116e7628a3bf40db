// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// What the unit tests share.
#ifndef KELP_TESTS_SUPPORT_H
#define KELP_TESTS_SUPPORT_H

#include <gtest/gtest.h>
#include <string>

#include "tests/handles.h"

namespace kelp_test {

constexpr int32_t kMin32 = INT32_MIN;
constexpr int32_t kMax32 = INT32_MAX;

// Cases of N numbers, arguments first.
template <size_t N>
using rows = std::vector<std::array<int32_t, N>>;

// A random choice from the LSP codebooks, and the LSPs that it stands for.
inline void random_lsps(random_numbers *random, uint32_t index[5], int32_t lsp[10]) {
  int32_t sum = 0;
  for (int m = 0; m < 5; m++) {
    index[m] = random->below(m == 1 || m == 2 ? 128 : 64);
    lsp[2 * m] = sum += kelp_tbl_vq_lsp[m][index[m]].first;
    lsp[2 * m + 1] = sum += kelp_tbl_vq_lsp[m][index[m]].second;
  }
}

}  // namespace kelp_test

#endif  // KELP_TESTS_SUPPORT_H
