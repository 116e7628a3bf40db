// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "enc/analysis.h"

#include <algorithm>
#include <iterator>

#include "common/fixed_point.h"
#include "common/wrapping.h"
#include "tables/analysis_tables.h"

namespace kelp {
namespace {

constexpr int kFrame = KELP_FRAME_SAMPLES;

// Windowed speech with zeros behind it, so that every lag has as many products.
struct windowed_speech {
  int16_t x[kFrame + kAutocorrelations - 1];
};

windowed_speech apply_window(const int32_t speech[kFrame]) {
  // Speech has 16 bits and the window is below 1.0: no product comes near the 0.5 that would round
  // out of 16 bits.
  windowed_speech windowed;
  std::fill(windowed.x + kFrame, std::end(windowed.x), int16_t{0});
  for (int n = 0; n < kFrame; n++) {
    const int32_t p = kAnalysisWindow_q15[static_cast<size_t>(n)] * low16(speech[n]);
    windowed.x[n] = low16((p + 0x4000) >> 15);
  }
  return windowed;
}

// Autocorrelations with a block exponent: lag 0 fills 31 bits.
struct autocorrelation {
  int32_t lag[kAutocorrelations];
  int halvings;  // of the running sum
  int norm;      // normalising shift after it
};

// Whether the energy is 2^30 or less for sure, from products that are cut to make their sum hold.
bool is_moderate(const int16_t *x) {
  int32_t sum = kFrame;
  for (int n = 0; n < kFrame; n++) sum += (x[n] * x[n]) >> 8;
  return sum <= 1 << 22;
}

autocorrelation correlate(const encoder_kernels &kernels, const int16_t *x) {
  autocorrelation r;
  int32_t sums[kAutocorrelations];
  kernels.frame->autocorrelate(x, sums);
  int32_t acc = 0;
  int shift = 1;
  if (is_moderate(x)) {
    acc = sums[0];  // as below, where nothing is halved
  } else {
    for (int n = 0; n < kFrame; n++) {
      acc = wrap_add(acc, wrap_mul(2, x[n] * x[n]) >> shift);
      if (acc > 0x40000000) {
        shift++;
        acc >>= 1;
      }
    }
  }
  r.halvings = shift - 1;
  const int32_t energy = wrap_mul(acc, 2);  // 2^30 wraps: such a frame counts as silent
  r.norm = norm_32(energy);
  r.lag[0] = wrap_shl(energy, r.norm);
  for (int j = 1; j < kAutocorrelations; j++) {
    acc = wrap_mul(2, sums[j]);
    // In loud frames each product is cut.
    if (r.halvings > 0) {
      acc = 0;
      for (int n = 0; n < kFrame; n++) {
        acc = wrap_add(acc, wrap_mul(2, x[n] * x[n + j]) >> r.halvings);
      }
    }
    r.lag[j] = wrap_shl(acc, r.norm);
  }
  return r;
}

// A frame without energy is handed on as a little white noise.
void make_silent(autocorrelation *r) {
  std::fill_n(r->lag, kAutocorrelations, 0);
  r->lag[0] = 10;
}

// Takes the lags back to a common scale. Lags 0 to 12 shift by the count modulo 32, the others by
// the count as it is: for loud frames, whose count is negative, the two differ, and the rate
// decision is tuned to what comes out.
void hand_on(const autocorrelation &r, int32_t lags[kAutocorrelations]) {
  const int shift = 1 - r.halvings + r.norm;
  for (int j = 0; j <= 12; j++) lags[j] = r.lag[j] >> (shift & 31);
  for (int j = 13; j < kAutocorrelations; j++) lags[j] = shift_right(r.lag[j], shift);
}

// Sum of R[i - j] times coefficient j (Q31 x Q26) over j = 1 .. i - 1, in Q31.
int32_t prediction(const int32_t *lag, const int32_t *row, int i) {
  int32_t acc = 0;
  int shift = 1;
  for (int j = 1; j < i; j++) {
    acc = wrap_add(acc, mul_32_32(lag[i - j], row[j]) >> shift);
    if (static_cast<uint32_t>(wrap_add(acc, 0x40000000)) > 0x80000000U) {
      shift++;
      acc >>= 1;
    }
  }
  return shift_left(acc, shift + 5);
}

// Levinson-Durbin recursion of order 10 on normalised lags. Coefficients in Q26, 1-based.
void levinson(const int32_t *lag, int16_t lpc_q10[kLpcOrder]) {
  int32_t row[kLpcOrder + 1] = {};
  int32_t error = lag[0];
  for (int i = 1; i <= kLpcOrder; i++) {
    const int32_t num = wrap_sub(lag[i], prediction(lag, row, i));
    const int norm = norm_32(error);
    // A mask and no branch: nothing foretells the sign.
    const int32_t sign = num >> 31;
    const int32_t quotient = div_32_32(wrap_sub(num ^ sign, sign), wrap_shl(error, norm));
    const int32_t reflection = wrap_sub(wrap_shl(quotient, norm) ^ sign, sign);

    for (int j = 1; j <= i - j; j++) {
      const int32_t lower = row[j];
      const int32_t upper = row[i - j];
      row[j] = saturate32(int64_t{lower} - mul_32_32(reflection, upper));
      row[i - j] = saturate32(int64_t{upper} - mul_32_32(reflection, lower));
    }
    row[i] = wrap_add(reflection, 16) >> 5;
    const int32_t left_over = wrap_sub(INT32_MIN, mul_32_32(reflection, reflection));
    error = mul_32_32(left_over, error);
  }
  for (int i = 0; i < kLpcOrder; i++) lpc_q10[i] = low16(wrap_add(row[i + 1], 0x8000) >> 16);
}

}  // namespace

void kelpe_lsp(encoder_frame *frame, const encoder_state &state) {
  const encoder_kernels &kernels = *frame->kernels;
  const windowed_speech windowed = apply_window(state.speech + kSpeechHistory);
  autocorrelation r = correlate(kernels, windowed.x);
  if (r.lag[0] < 1) {
    make_silent(&r);
    std::fill_n(frame->lpc_q10, kLpcOrder, int16_t{0});
  } else {
    levinson(r.lag, frame->lpc_q10);
  }
  hand_on(r, frame->autocorrelation);
  if (!find_lsps(kernels, frame->lpc_q10, frame->lsp)) {
    std::copy_n(state.previous_lsp, kLpcOrder, frame->lsp);
  }
}

}  // namespace kelp
