// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// The two circular codebooks of the excitation, Q13.

#include "tables/excitation_codebooks.h"

#include <array>
#include <cstddef>

#include "kelp.h"

namespace {

using values = std::array<int16_t, 128>;

// Noise for full rate: values of two decimals times 8192, not rounded throughout, so
// these values are the definition.
constexpr values kFullRate = {
    // clang-format off
    819, -5324, -4833, 983, 9011, 2785, -10977, 12861,
    8519, -6881, -2785, -9420, 1884, -8273, 245, 3686,
    -8273, -1310, -4833, 2293, -3686, 10977, -5488, 1802,
    4997, -2375, 18513, -2129, -4505, -14663, 12861, -4177,
    -18022, -7618, -3031, 4915, 9666, 6062, -3932, -7782,
    -14827, 9093, 2949, -4259, -17612, 6389, -9175, 3194,
    -1392, -3850, -18268, 1556, 983, -8028, -11632, 10649,
    4423, -10403, 1720, -983, 3194, -3932, 983, 10485,
    491, -13680, 6717, -8355, -6471, 4505, -3604, 3932,
    -1638, -4341, 655, -4997, 901, -5734, -12861, -13762,
    1638, -4587, -6062, 6389, 2703, -5160, -14172, -163,
    -6144, -4341, -11960, 6307, 5406, -2375, 737, -6144,
    5324, 9748, -3522, 6225, 19087, 8028, 10240, -12779,
    -2211, 6389, -737, 13926, 14417, 11714, -12124, -573,
    2211, -11141, 409, 2211, 1474, 11386, 16711, 573,
    -15073, -16138, 4259, -245, 6389, -15482, 655, -5324,
    // clang-format on
};

// Sparse pulses for half rate.
constexpr values kHalfRate = {
    // clang-format off
    0, -16384, 0, -12288, 0, 0, 0, 0,
    0, 0, 0, 0, 0, 0, 0, 0,
    0, -12288, -8192, 0, 0, 0, 0, 0,
    0, 0, 0, 0, 0, 0, 0, 20480,
    0, 0, 0, 0, 0, 0, 16384, 0,
    0, 12288, 8192, 0, 12288, 16384, 0, 0,
    0, 0, 0, 0, 0, 0, 0, 0,
    0, 0, 0, 0, 0, 12288, 0, 0,
    -12288, 12288, 0, 0, -8192, 0, 12288, 0,
    0, 0, 0, 0, 0, 0, -20480, 0,
    0, 0, 0, 12288, 0, 0, 0, 12288,
    0, 0, 0, 0, 0, 0, 0, 16384,
    0, 0, 0, 0, 0, 0, 0, 0,
    0, 12288, 24576, -12288, -16384, 0, -12288, -12288,
    12288, -12288, 0, 0, 0, 0, 0, 0,
    0, 0, 0, 0, 0, 0, 0, 0,
    // clang-format on
};

consteval kelp::circular_codebook go_round(const values &from) {
  kelp::circular_codebook codebook{};
  for (std::size_t k = 0; k < codebook.size(); k++) codebook[k] = from[k % from.size()];
  return codebook;
}

}  // namespace

constexpr kelp::circular_codebook kelp::kFullRateCodebook = go_round(kFullRate);
constexpr kelp::circular_codebook kelp::kHalfRateCodebook = go_round(kHalfRate);

// As in gain_tables.cpp: arrays under the public names, aligned as plain ones.
extern "C" {
alignas(16) extern constexpr values kelp_full_rate_values = kFullRate;
alignas(16) extern constexpr values kelp_half_rate_values = kHalfRate;
[[gnu::alias("kelp_full_rate_values")]] extern const int16_t kelp_tbl_cb[128];
[[gnu::alias("kelp_half_rate_values")]] extern const int16_t kelp_tbl_cb_half[128];
}
