// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include <algorithm>

#include "common/wrapping.h"
#include "enc/lsp_quant.h"

namespace kelp {

void kelpe_lsp_to_lpc(const int32_t lsp[kLpcOrder], int32_t lpc_q14[kLpcOrder]) {
  int32_t cosine[kLpcOrder];
  // Quantized LSPs may pass half the sampling rate, where the table ends.
  for (int i = 0; i < kLpcOrder; i++) cosine[i] = tbl_cosine_data[std::clamp(lsp[i] >> 1, 0, 8192)];
  cosines_to_lpc(cosine, lpc_q14);
}

void kelpe_lpc_convert(int mode, int32_t rate, const int32_t previous_lsp[kLpcOrder],
                       const int32_t lsp[kLpcOrder], subframe_coefficients sets[4],
                       int32_t factor_q15) {
  for (int subframe = 0; subframe < 4; subframe++) {
    const int32_t weight = tbl_lsp_interp[rate][subframe];
    if (weight == 0) break;
    int32_t interpolated[kLpcOrder];
    for (int i = 0; i < kLpcOrder; i++) {
      // Eighths, and half the scale. Towards zero, where the decoder shifts.
      interpolated[i] =
          low32((product(previous_lsp[i], 8 - weight) + product(lsp[i], weight)) / 16);
    }
    subframe_coefficients &set = sets[subframe];
    kelpe_lsp_to_lpc(interpolated, set.expanded);
    // The search must run the filter that the decoder will run.
    expand_bandwidth(set.expanded);
    if (mode == 0) weight_coefficients(&set, factor_q15, 15);
  }
}

}  // namespace kelp
