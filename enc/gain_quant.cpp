// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "enc/gain_quant.h"

#include <algorithm>

#include "common/fixed_point.h"
#include "common/wrapping.h"

namespace kelp {
namespace {

constexpr int32_t kPosition_q16 = 65536;  // one table position, 1 dB
constexpr int32_t kSmallestGain_q16 = 656;

int32_t gain_at(int32_t position) {
  return kelp_tbl_ga[position + 6];
}

// Mean of the last three positions, held to 6 .. 38.
int32_t predicted_position(const gain_quantizer_state &state) {
  const int32_t sum =
      wrap_add(wrap_add(state.history_q16[0], state.history_q16[1]), state.history_q16[2]);
  return std::clamp(sum / 3 / kPosition_q16, 6, 38);
}

// Nearest code in steps of 4 dB for a level in Q16 dB.
uint32_t level_code(int32_t level_q16, int32_t largest) {
  const int32_t t = level_q16 / 4096 + 32;
  return static_cast<uint32_t>(std::clamp(t / 64, 0, largest));
}

}  // namespace

void kelpe_q_pitch_lag(int32_t *lag, uint32_t *lag_code, int32_t *fraction,
                       uint32_t *fraction_bit) {
  if (*lag == 0) {
    *lag_code = 0;
    *fraction_bit = 0;
  } else if (*lag >= 17 && *lag <= 143 && (*fraction == 0 || (*fraction == 2 && *lag <= 142))) {
    *lag_code = static_cast<uint32_t>(*lag - 16);
    *fraction_bit = *fraction == 2 ? 1 : 0;
  }
  // Anything else is read back from the codes as they are.
  *lag = *lag_code == 0 ? 143 : static_cast<int32_t>(*lag_code) + 16;
  *fraction = *lag_code != 0 && *fraction_bit == 1 ? 2 : 0;
}

void kelpe_q_pitch_gain(int32_t b_q14, int16_t *gain_q3, uint32_t *code) {
  const int32_t x = wrap_mul(4, b_q14);
  // Nearest quarter; halves away from zero, which for the negative ones makes no difference.
  const int32_t quarters = x < 0 ? 0 : static_cast<int32_t>((magnitude(x) + 8192) / 16384);
  if (quarters < 1) {
    *code = 0;
    *gain_q3 = 0;
  } else if (x >= 131072) {
    *code = 7;
    *gain_q3 = 16;
  } else {
    *code = static_cast<uint32_t>(quarters - 1);
    *gain_q3 = static_cast<int16_t>(2 * quarters);
  }
}

void kelpe_q_cb_gain(int32_t rate, int32_t *gain_q16, uint32_t *code, uint32_t *sign, int j,
                     gain_quantizer_state *state) {
  const bool predictive = rate == KELP_RATE_FULL && (j + 1) % 4 == 0;
  const int32_t size = wrap_abs(*gain_q16);  // that of -2^31 stays negative, hence small
  if (size < kSmallestGain_q16) {
    // Nothing to code: the sign is 1 where there is one.
    *code = 0;
    *sign = rate == KELP_RATE_EIGHTH || rate == KELP_RATE_QUARTER ? 0 : 1;
  } else {
    const int32_t level_q16 = wrap_mul(wrap_add(log10_q26(size), 303026716) >> 10, 20);
    *sign = *gain_q16 < 0 ? 1 : 0;
    *code =
        predictive
            ? level_code(wrap_add(wrap_sub(level_q16, predicted_position(*state) * kPosition_q16),
                                  6 * kPosition_q16),
                         7)
            : level_code(level_q16, 15);
  }

  const auto c = static_cast<int32_t>(*code);
  const int32_t position = predictive ? predicted_position(*state) + 4 * c - 6 : 4 * c;
  *gain_q16 = *sign == 1 ? -gain_at(position) : gain_at(position);

  // After a predictive subframe history and state hold no whole position: the history entry is
  // shifted out by three direct subframes before the next prediction, the state is as the
  // eighth-rate quantizer has always read it.
  state->history_q16[2] = state->history_q16[1];
  state->history_q16[1] = state->history_q16[0];
  state->history_q16[0] = (predictive ? 4 * c - 6 : 4 * c) * kPosition_q16;
  state->previous = state->current;
  state->current = predictive ? c * kPosition_q16 - 98304 : 4 * c;
}

void kelpe_q_cb_gain8th(int32_t gain_q16, int32_t *quantized_q16, uint32_t *code,
                        gain_quantizer_state *state) {
  const int32_t mean = wrap_add(wrap_add(state->current, state->previous), 1) >> 1;
  const int32_t base = mean < 5 ? 4 : std::min(mean - 1, 58);
  int64_t best = 0;
  for (uint32_t c = 0; c < 4; c++) {
    const int64_t difference = int64_t{gain_q16} - gain_at(base + tbl_ga_8th_offset[c]);
    const int64_t error = wrap_mul64(difference, difference) >> 16;
    if (c == 0 || error < best) {
      best = error;
      *code = c;
    }
  }
  state->previous = state->current;
  state->current = base + tbl_ga_8th_offset[*code];
  *quantized_q16 = gain_at(state->current);
}

}  // namespace kelp
