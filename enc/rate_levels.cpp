// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// The rate decision's second step: how periodic the frame is, and what that says about the noise
// and signal levels of the two bands.

#include <algorithm>
#include <cstring>

#include "common/fixed_point.h"
#include "common/wrapping.h"
#include "enc/rate_decision.h"

namespace kelp {
namespace {

// Low-pass before the periodicity measure, unit gain at 0 Hz, Q24.
constexpr int32_t kRateLowpass_q24[kRateFilterTaps] = {
    45724,   172512,  100215,  -387382, -840504, -222057, 1956690, 4643115, 5872026,
    4643115, 1956690, -222057, -840504, -387382, 100215,  172512,  45724};

constexpr int32_t kNoiseMax = 5059644;
constexpr int32_t kNoiseMin[2] = {10, 5};
// Periodicity in Q13.
constexpr int32_t kUnvoiced = 3113;
constexpr int32_t kVoiced = 4096;

// Low-passes the weighted residual and keeps every second sample, behind the last 60 of before.
void decimate(const encoder_kernels &kernels, const int32_t *residual, rate_decision_state *d,
              int32_t x[kDecimatedHistory + kDecimated]) {
  constexpr int kPast = kRateFilterTaps - 1;
  int32_t scratch[kPast + KELP_FRAME_SAMPLES];
  std::copy_n(d->lowpass, kPast, scratch);
  for (int n = 0; n < KELP_FRAME_SAMPLES; n++) scratch[kPast + n] = wrap_shl(residual[n], 14);
  std::copy_n(scratch + KELP_FRAME_SAMPLES, kPast, d->lowpass);

  std::copy_n(d->decimated, kDecimatedHistory, x);
  int32_t *const filtered = x + kDecimatedHistory;
  kernels.frame->decimate(scratch, kRateLowpass_q24, filtered);
  for (int n = 0; n < kDecimated; n++) filtered[n] >>= 14;
  std::copy_n(x + kDecimated, kDecimatedHistory, d->decimated);
}

int32_t correlation(const int32_t *x, const int32_t *y) {
  int32_t sum = 0;
  for (int n = 0; n < kDecimated; n++) sum = wrap_add(sum, wrap_mul(x[n], y[n]));
  return sum;
}

// Twice the largest correlation over the two energies, Q13.
int32_t periodicity(const encoder_kernels &kernels, const int32_t *residual,
                    rate_decision_state *d) {
  int32_t buffer[kDecimatedHistory + kDecimated];
  decimate(kernels, residual, d, buffer);
  const int32_t *const x = buffer + kDecimatedHistory;
  int32_t sums[kPeriods];
  kernels.frame->correlate_periods(x, sums);
  // The largest above 0, and its first lag, from the lower bits.
  int64_t largest = kPeriods;
  for (int i = 0; i < kPeriods; i++) {
    largest = std::max(largest, int64_t{sums[i]} * (1 << 16) + (kPeriods - i));
  }
  const auto best = static_cast<int32_t>(largest >> 16);
  const auto best_lag = static_cast<int>(kFirstPeriod + kPeriods - (largest & 0xFFFF));
  const int32_t energy = wrap_add(correlation(x, x), correlation(x - best_lag, x - best_lag)) / 2;
  return ratio_q8(wrap_mul(32, best), energy != 0 ? energy : 1000000);
}

// level * factor in Q14, rounded, and at least one unit more than before.
int32_t grow(int32_t level, int32_t factor_q14) {
  return std::max(wrap_add(level, 1), low32((product(level, factor_q14) + 8192) >> 14));
}

void update_noise(int32_t p, rate_decision_state *d) {
  bool raised = false;
  if (p < kUnvoiced) {
    // Nine unvoiced frames in a row: it is noise, and it has become louder (3 % a frame).
    if (d->unvoiced_run >= 8) {
      for (band_state &band : d->band) band.noise = grow(band.noise, 16876);
      d->unvoiced_run = 9;
      raised = true;
    } else {
      d->unvoiced_run++;
    }
  } else {
    d->unvoiced_run = 0;
  }
  for (int b = 0; b < 2; b++) {
    band_state &band = d->band[b];
    // A clean signal's noise level creeps up (0.55 % a frame), so that it can never stick too low.
    if (!raised && d->signal_seen && band.snr_class >= 4 && band.noise < band.smoothed) {
      band.noise = grow(band.noise, 16474);
    }
    band.noise = std::clamp(std::min(band.noise, band.smoothed), kNoiseMin[b], kNoiseMax);
  }
}

void update_signal(int32_t p, rate_decision_state *d) {
  if (p > kVoiced) {
    if (d->voiced_run >= 5) {
      d->signal_seen = true;
      for (band_state &band : d->band) {
        band.signal = low32((16384 + product(band.signal, 31785)) >> 15);
      }
    }
    d->voiced_run = count_up(d->voiced_run);
  } else {
    d->voiced_run = 0;
  }
  for (band_state &band : d->band) band.signal = std::max(band.signal, band.smoothed);
}

// The class of a signal-to-noise ratio in Q8: one class for every 10 dB or so.
int32_t class_of_ratio(int32_t ratio) {
  if (ratio <= 0) return 0;
  return std::clamp(wrap_add(log10_q26(ratio), 347200452) >> 25, 0, 7);
}

// Before any speech was seen: from the noise level alone.
int32_t class_of_noise(int32_t noise, int32_t offset) {
  if (noise <= 0) return 7;
  const int32_t snr_class = wrap_sub(offset, log10_q26(noise)) >> 25;
  return snr_class < 0 ? 0 : snr_class & 7;
}

}  // namespace

void kelpe_ratedec_step2(const encoder_frame &frame, encoder_state *state) {
  rate_decision_state *const d = &state->rate_decision;
  const int32_t p = periodicity(*frame.kernels, frame.weighted_residual, d);
  std::copy_n(frame.lsp, kLpcOrder, state->previous_lsp);

  for (int b = 0; b < 2; b++) {
    band_state &band = d->band[b];
    band.smoothed =
        low32((product(frame.band_energy[b], 13107) + product(band.smoothed, 19661) + 16384) >> 15);
  }
  update_noise(p, d);
  update_signal(p, d);

  constexpr int32_t kNoiseOffset[2] = {-226957676, -294066540};
  for (int b = 0; b < 2; b++) {
    band_state &band = d->band[b];
    const int32_t ratio = band.noise > 0 ? ratio_q8(band.signal, band.noise) : 256000000;
    band.snr_class =
        d->signal_seen ? class_of_ratio(ratio) : class_of_noise(band.noise, kNoiseOffset[b]);
  }
}

}  // namespace kelp
