// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "enc/search_kernels.h"

namespace kelp {

extern const search_kernels kAvx2Searches;
extern const search_kernels kAvx512Searches;
extern const search_kernels kNeonSearches;

const search_kernels &search_kernels_for(instruction_set set) {
  static_cast<void>(set);
#if defined(KELP_PLAIN_KERNELS)
  return kPlainSearches;
#elif defined(__x86_64__)
  switch (set) {
    case instruction_set::avx512: return kAvx512Searches;
    case instruction_set::avx2: return kAvx2Searches;
    default: return kPlainSearches;
  }
#elif defined(__aarch64__)
  return kNeonSearches;
#else
  return kPlainSearches;
#endif
}

}  // namespace kelp
