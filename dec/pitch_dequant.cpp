// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "dec/dequant.h"

namespace kelp {

int32_t kelpd_iq_pitch_lag_gain(const kelpd_frame_params &params, pitch_parameters *pitch) {
  const uint32_t gain_code = params.current_pitch_gain;
  const uint32_t lag_code = params.current_pitch_lag;
  const uint32_t fraction_flag = params.current_pitch_frac;
  if (gain_code > 7) return KELP_ERR_ARGUMENT;
  if (lag_code == 0) {  // the fraction flag is not looked at
    pitch->lag = 143;
    pitch->fraction = 0;
  } else {
    if (fraction_flag > 1) return KELP_ERR_ARGUMENT;
    pitch->lag = static_cast<int32_t>(lag_code) + 16;
    pitch->fraction = fraction_flag == 1 ? 2 : 0;
  }
  // No pitch is lag code 0 with gain code 0; the smallest gain is a quarter.
  const bool no_pitch = gain_code == 0 && lag_code == 0;
  pitch->gain_q3 = static_cast<int16_t>(no_pitch ? 0 : 2 * gain_code + 2);
  return KELP_OK;
}

}  // namespace kelp
