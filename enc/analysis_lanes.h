// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// The loops of analysis and rate decision over several words at a time; see search_lanes.h.

#include <cstring>

#include "enc/kernels.h"
#include "tables/analysis_tables.h"

namespace {

// Left to the compiler, which knows how to multiply and add pairs of 16-bit words.
void autocorrelate(const int16_t *x, int32_t sums_of_lags[kelp::kAutocorrelations]) {
  for (int lag = 0; lag < kelp::kAutocorrelations; lag++) {
    uint32_t sum = 0;
    for (int n = 0; n < KELP_FRAME_SAMPLES; n++) sum += static_cast<uint32_t>(x[n] * x[n + lag]);
    sums_of_lags[lag] = static_cast<int32_t>(sum);
  }
}

void evaluate_grid(const int32_t polynomial[6], int32_t values[kelp::kGridPoints]) {
  // What does not depend on the frequency, and half of the unit that is rounded to.
  const int64_t constant = int64_t{polynomial[5]} * (1 << 23) + 0x40000;
  for (int i = 0; i < kelp::kGridPoints; i += lanes::kWords) {
    const int at = i + lanes::kWords <= kelp::kGridPoints ? i : kelp::kGridPoints - lanes::kWords;
    lanes::sums sum = lanes::splat_sums(constant);
    lanes::add_product(&sum, lanes::splat(1024), lanes::load(kelp::kLspGridCosines[4].data() + at));
    for (int k = 1; k <= 4; k++) {
      const lanes::words cosine =
          lanes::load(kelp::kLspGridCosines[static_cast<size_t>(4 - k)].data() + at);
      lanes::add_product(&sum, lanes::splat(polynomial[k]), cosine);
    }
    lanes::store(values + at, lanes::low_words19(sum));
  }
}

void decimate(const int32_t *scratch, const int32_t taps[kelp::kRateFilterTaps],
              int32_t output[kelp::kDecimated]) {
  constexpr int kHalf = kelp::kDecimated + 8;
  int32_t even[kHalf + 1];
  int32_t odd[kHalf + 1];
  for (int i = 0; i < kHalf; i++) {
    even[i] = scratch[2 * i];
    odd[i] = scratch[2 * i + 1];
  }
  for (int n = 0; n < kelp::kDecimated; n += lanes::kWords) {
    lanes::words sum = lanes::splat(0);
    for (int j = 0; j < kelp::kRateFilterTaps; j++) {
      const int32_t *const input = (j % 2 == 0 ? even : odd) + j / 2 + n;
      sum = lanes::add(sum, lanes::product24(lanes::load(input), lanes::splat(taps[j])));
    }
    lanes::store(output + n, sum);
  }
}

// The lags side by side, which stand in reverse in memory.
void correlate_periods(const int32_t *x, int32_t sums_of_lags[kelp::kPeriods]) {
  for (int i = 0; i < kelp::kPeriods; i += lanes::kWords) {
    const int at = i + lanes::kWords <= kelp::kPeriods ? i : kelp::kPeriods - lanes::kWords;
    const int32_t *const past = x - kelp::kFirstPeriod - at - (lanes::kWords - 1);
    lanes::words sum = lanes::splat(0);
    for (int n = 0; n < kelp::kDecimated; n++) {
      sum = lanes::add(sum, lanes::low_product(lanes::load(past + n), lanes::splat(x[n])));
    }
    int32_t reversed[lanes::kWords];
    lanes::store(reversed, sum);
    for (int j = 0; j < lanes::kWords; j++) {
      sums_of_lags[at + j] = reversed[lanes::kWords - 1 - j];
    }
  }
}

}  // namespace
