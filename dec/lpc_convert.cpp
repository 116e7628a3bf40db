// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include <algorithm>

#include "dec/dequant.h"

namespace kelp {

void kelpd_lsp_to_lpc(const int32_t lsp_q15[kLpcOrder], int32_t lpc_q14[kLpcOrder]) {
  int32_t cosine[kLpcOrder];
  for (int i = 0; i < kLpcOrder; i++) {
    // No packet leads out of the table; the clamp keeps it so for any caller.
    cosine[i] = tbl_lsp_cos[std::clamp(lsp_q15[i], 0, 16383)];
  }
  cosines_to_lpc(cosine, lpc_q14);
}

int32_t kelpd_lpc_convert(int mode, uint32_t rate, const int32_t previous_lsp[kLpcOrder],
                          const int32_t lsp[kLpcOrder], subframe_coefficients sets[4],
                          int16_t factor_q14) {
  for (int subframe = 0; subframe < 4; subframe++) {
    const int32_t weight = tbl_lsp_interp[rate][subframe];
    if (weight == 0) break;
    int32_t interpolated_q15[kLpcOrder];
    for (int i = 0; i < kLpcOrder; i++) {
      // Eighths, and Q16 to Q15.
      const int32_t sum = wrap_add(wrap_mul(lsp[i], weight), wrap_mul(previous_lsp[i], 8 - weight));
      interpolated_q15[i] = sum >> 4;
    }
    subframe_coefficients &set = sets[subframe];
    kelpd_lsp_to_lpc(interpolated_q15, set.expanded);
    expand_bandwidth(set.expanded);
    if (mode == 0) weight_coefficients(&set, factor_q14, 14);
  }
  return KELP_OK;
}

}  // namespace kelp
