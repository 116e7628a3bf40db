// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// The loops as they are defined.

#include <algorithm>
#include <limits>

#include "common/wrapping.h"
#include "enc/analysis.h"
#include "enc/kernels.h"
#include "tables/analysis_tables.h"

namespace kelp {
namespace {

// Moves y on by one sample, `first` in front, and adds that sample's response.
void shift_in(int32_t *y, int32_t first, const int32_t *h, int n) {
  std::copy_backward(y, y + n - 1, y + n);
  y[0] = first;
  for (int k = 1; k < std::min(n, kImpulseResponse); k++) {
    y[k] = wrap_add(y[k], low32(product(first, h[k]) >> 14));
  }
}

// Lags below the subframe repeat the vector once, as it is without that.
void score_lag(const int32_t *target, const int32_t *y, int lag, int64_t *exy, int32_t *eyy) {
  int64_t correlation = 0;
  int64_t energy = 0;
  for (int n = 0; n < kPitchSubframe; n++) {
    const int32_t v = n >= lag ? wrap_add(y[n], y[n - lag]) : y[n];
    correlation += product(v, target[n]) >> 18;
    energy += product(v, v) >> 18;
  }
  *exy = correlation;
  // Held, not wrapped: a wrapped energy drives the gain of loud speech to its end.
  *eyy = static_cast<int32_t>(std::min<int64_t>(energy >> 7, std::numeric_limits<int32_t>::max()));
}

// Each lag's filtered excitation is the one before, a sample later, with one more sample's
// response.
void score_lags(const int32_t *target, const int32_t *h, const int32_t *past, int first, int last,
                lag_scores *scores) {
  int32_t y[kPitchSubframe] = {};
  for (int lag = 1; lag <= last; lag++) {
    shift_in(y, past[-lag], h, kPitchSubframe);
    if (lag < first) continue;
    const int i = lag - kFirstLag;
    score_lag(target, y, lag, &scores->exy[i], &scores->eyy[i]);
  }
}

void bound_lags(const int32_t * /*target*/, const int32_t * /*h*/, const int32_t * /*past*/,
                lag_bounds *bounds) {
  bounds->likeliest = kNoLag;
}

void pick_lags(const lag_bounds & /*bounds*/, float /*bar*/, uint64_t worthy[kPickedSets]) {
  std::fill_n(worthy, kPickedSets, ~uint64_t{0});
}

void ring(const int32_t *memory, const int32_t *a, int32_t *y) {
  for (int k = 0; k < kRing; k++) {
    y[k] = 0;
    for (int i = k; i < kRing; i++) {
      y[k] = wrap_add(y[k], low32(product(memory[kRing + k - 1 - i], a[i]) >> 14));
    }
  }
}

void correlate_columns(const lsp_columns &g, int64_t sums[10][kLspColumns]) {
  for (int k = 0; k < 10; k++) {
    for (int i = 0; i < kLspColumns; i++) {
      sums[k][i] = 0;
      for (int n = 0; n + k < 10; n++) {
        sums[k][i] = wrap_add64(sums[k][i], product(g.row[n][i], g.row[n + k][i]));
      }
    }
  }
}

uint32_t search_split(const kelp_lsp_pair *codebook, int size, int32_t step1, int32_t step2,
                      int64_t weight1, int64_t weight2) {
  int64_t best = 0;
  uint32_t best_index = 0;
  for (uint32_t j = 0; j < static_cast<uint32_t>(size); j++) {
    const int64_t distortion = split_distortion(codebook[j], step1, step2, weight1, weight2);
    if (j == 0 || distortion < best) {
      best = distortion;
      best_index = j;
    }
  }
  return best_index;
}

// Sample k of each candidate into `row`, and its square into the energies. It is sample k - 1 of
// the next candidate, which stands in `before`, and the response to the candidate's own first
// sample.
void filter_sample(const int16_t *codebook, const int32_t *h, int k, const int32_t *before,
                   int32_t *row, int32_t *energy) {
  for (int i = 0; i < kCodebook; i++) {
    const int32_t moved = k == 0 ? 0 : before[(i + 1) % kCodebook];
    const int32_t sample = 2 * codebook[i];  // Q14
    const int32_t response = k < kImpulseResponse ? low32(product(sample, h[k]) >> 14) : 0;
    row[i] = wrap_add(moved, response);
    energy[i] = wrap_add(k == 0 ? 0 : energy[i], low32(product(row[i], row[i]) >> 14));
  }
}

void filter_codebook(const int16_t *codebook, const int32_t *h, filtered_codebook *filtered) {
  const int32_t *before = nullptr;
  for (int k = 0; k < filtered_codebook::kSamples; k++) {
    filter_sample(codebook, h, k, before, filtered->exact[k], filtered->shared->energy);
    before = filtered->exact[k];
  }
}

void correlate(const int32_t *row, int32_t target, int32_t exy[kCodebook]) {
  for (int i = 0; i < kCodebook; i++) {
    exy[i] = wrap_add(exy[i], low32(product(row[i], target) >> 14));
  }
}

codebook_choice choose_candidate(const int32_t *energy, const int32_t *exy) {
  codebook_choice best = {};
  int64_t best_error = kLargestError;
  for (int i = 0; i < kCodebook; i++) {
    const int place = -i & (kCodebook - 1);
    const candidate_score current = score_candidate(exy[place], energy[place]);
    if (current.error < best_error) {
      best_error = current.error;
      best = {current.gain_q16, i};
    }
  }
  return best;
}

codebook_choice search_codebook(const int16_t * /*codebook*/, const filtered_codebook &filtered,
                                const int32_t *target) {
  int32_t exy[kCodebook] = {};
  for (int k = 0; k < filtered_codebook::kSamples; k++) {
    correlate(filtered.exact[k], target[k], exy);
  }
  return choose_candidate(filtered.shared->energy, exy);
}

codebook_choice search_long_codebook(const int16_t *codebook, const int32_t *h,
                                     const int32_t *target, filtered_codebook *filtered) {
  int32_t exy[kCodebook] = {};
  for (int k = 0; k < kPitchSubframe; k++) {
    int32_t *const row = filtered->exact[k % 2];
    filter_sample(codebook, h, k, filtered->exact[1 - k % 2], row, filtered->shared->energy);
    correlate(row, target[k], exy);
  }
  return choose_candidate(filtered->shared->energy, exy);
}

void autocorrelate(const int16_t *x, int32_t sums[kAutocorrelations]) {
  for (int lag = 0; lag < kAutocorrelations; lag++) {
    sums[lag] = 0;
    for (int n = 0; n < KELP_FRAME_SAMPLES; n++) sums[lag] = wrap_add(sums[lag], x[n] * x[n + lag]);
  }
}

void evaluate_grid(const int32_t polynomial[6], int32_t values[kGridPoints]) {
  values[0] = lspdct(polynomial, 0);
  for (size_t i = 0; i < kLspGrid.size(); i++) values[i + 1] = lspdct(polynomial, kLspGrid[i]);
}

void decimate(const int32_t *scratch, const int32_t taps[kRateFilterTaps],
              int32_t output[kDecimated]) {
  for (int n = 0; n < kDecimated; n++) {
    output[n] = 0;
    for (int j = 0; j < kRateFilterTaps; j++) {
      output[n] = wrap_add(output[n], low32(product(scratch[2 * n + j], taps[j]) >> 24));
    }
  }
}

void correlate_periods(const int32_t *x, int32_t sums[kPeriods]) {
  for (int i = 0; i < kPeriods; i++) {
    const int32_t *const past = x - kFirstPeriod - i;
    sums[i] = 0;
    for (int n = 0; n < kDecimated; n++) sums[i] = wrap_add(sums[i], wrap_mul(x[n], past[n]));
  }
}

}  // namespace

int64_t split_distortion(const kelp_lsp_pair &row, int32_t step1, int32_t step2, int64_t weight1,
                         int64_t weight2) {
  const int32_t e1 = step1 - row.first;
  const int32_t e2 = e1 + (step2 - row.second);
  return wrap_add64(wrap_mul64(product(e1, e1), weight1) >> 15,
                    wrap_mul64(product(e2, e2), weight2) >> 15);
}

// Correlation, energy and gain are 32-bit words; the gain's product wraps.
candidate_score score_candidate(int32_t exy, int32_t eyy) {
  const uint32_t reciprocal = eyy == 0 ? 0 : 0x80000000U / magnitude(eyy);
  const auto size = static_cast<int32_t>((magnitude(exy) >> 15) * reciprocal);
  // All ones where the signs differ, which makes ~size + 1 of it: no branch could foretell them.
  const int32_t sign_mask = (exy ^ eyy) >> 31;
  const int32_t gain = wrap_sub(size ^ sign_mask, sign_mask);

  const auto gain_square = static_cast<int64_t>(static_cast<uint64_t>(product(gain, gain)) >> 16);
  const int64_t energy_term = wrap_mul64(gain_square, eyy) >> 16;
  return {gain, wrap_sub64(energy_term, product(exy, gain) >> 15)};
}

const subframe_kernels kPlainSubframeKernels = {score_lags, bound_lags, filter_codebook,
                                                search_codebook, ring};
const frame_kernels kPlainFrameKernels = {autocorrelate,     evaluate_grid,       decimate,
                                          correlate_periods, correlate_columns,   search_split,
                                          pick_lags,         search_long_codebook};

}  // namespace kelp
