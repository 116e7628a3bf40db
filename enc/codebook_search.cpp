// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// Codebook search: all 128 stretches of the circular codebook.

#include "enc/excitation_search.h"

namespace kelp {

codebook_choice search_codebook(const encoder_kernels &kernels, const filtered_codebook &filtered,
                                const int32_t target[filtered_codebook::kSamples]) {
  int32_t exy[kCodebook] = {};
  kernels.correlate_codebook(filtered, target, exy);
  return kernels.choose_candidate(filtered, exy);
}

codebook_choice search_long_codebook(const encoder_kernels &kernels, const int32_t *h,
                                     const int16_t codebook[kCodebook],
                                     const int32_t target[kPitchSubframe],
                                     filtered_codebook *filtered) {
  int32_t exy[kCodebook] = {};
  for (int first = 0; first < kPitchSubframe; first += filtered_codebook::kSamples) {
    kernels.filter_codebook(codebook, h, first, filtered);
    kernels.correlate_codebook(*filtered, target + first, exy);
  }
  return kernels.choose_candidate(*filtered, exy);
}

}  // namespace kelp
