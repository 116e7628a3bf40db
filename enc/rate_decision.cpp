// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// The rate decision's first step: band energies against noise levels, and the hangover.

#include "enc/rate_decision.h"

#include <algorithm>

#include "common/wrapping.h"

namespace kelp {
namespace {

// By signal-to-noise class: thresholds of band energy over noise level in 1/32, and the frames that
// stay at full rate after speech.
struct class_row {
  int32_t threshold1;
  int32_t threshold2;
  int32_t hangover;
};
constexpr class_row kClass[8] = {{224, 288, 7}, {224, 403, 7}, {256, 544, 7}, {275, 592, 3},
                                 {285, 621, 0}, {301, 669, 0}, {352, 816, 0}, {505, 1273, 0}};

// Energy of the frame behind a band's filter.
int32_t band_energy(const int16_t *h, const int32_t *r) {
  int64_t sum = 0;
  for (int k = 1; k < kAutocorrelations; k++) sum += product(h[k], r[k]);
  return low32((product(h[0], r[0]) + 2 * sum) >> 15);
}

// Both sides wrap in 32 bits: with the largest noise levels they do.
bool exceeds(int32_t energy, int32_t threshold, int32_t noise) {
  return wrap_mul(32, energy) > wrap_mul(threshold, noise);
}

int32_t band_rate(int32_t energy, const band_state &band) {
  const class_row &row = kClass[band.snr_class];
  int32_t rate = KELP_RATE_EIGHTH;
  if (exceeds(energy, row.threshold1, band.noise)) rate = KELP_RATE_HALF;
  if (exceeds(energy, row.threshold2, band.noise)) {
    rate = rate == KELP_RATE_HALF ? KELP_RATE_FULL : KELP_RATE_HALF;
  }
  return rate;
}

// After full-rate speech the rate stays up for as many frames as the lower band's class asks for.
int32_t apply_hangover(int32_t rate, rate_decision_state *d) {
  if (d->full_rate_run > 0 || d->in_hangover) {
    // The rate is tested as it was before a hangover raises it: else a hangover restarts itself.
    if (rate < KELP_RATE_FULL) {
      d->in_hangover = d->hangover_count < kClass[d->band[0].snr_class].hangover;
      if (d->in_hangover) rate = KELP_RATE_FULL;
      d->hangover_count = count_up(d->hangover_count);
    } else {
      d->in_hangover = false;
    }
  }
  if (rate == KELP_RATE_FULL && !d->in_hangover) {
    d->full_rate_run = count_up(d->full_rate_run);
    d->hangover_count = 0;
  } else {
    d->full_rate_run = 0;
  }
  return rate;
}

}  // namespace

void kelpe_ratedec_step1(encoder_frame *frame, encoder_state *state) {
  rate_decision_state *const d = &state->rate_decision;
  int32_t rate = KELP_RATE_EIGHTH;
  for (int b = 0; b < 2; b++) {
    frame->band_energy[b] = band_energy(d->band[b].filter_autocorrelation, frame->autocorrelation);
    rate = std::max(rate, band_rate(frame->band_energy[b], d->band[b]));
  }
  rate = apply_hangover(rate, d);
  // Never from full straight to eighth rate; the first frame is always full.
  if (d->previous_rate == KELP_RATE_FULL && rate == KELP_RATE_EIGHTH) rate = KELP_RATE_HALF;
  if (state->frame_count == 0) rate = KELP_RATE_FULL;
  d->previous_rate = rate;
  frame->rate = rate;
}

}  // namespace kelp
