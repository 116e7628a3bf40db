// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "enc/kernels.h"

namespace kelp {

extern const encoder_kernels kAvx2Kernels;
extern const encoder_kernels kAvx512Kernels;
extern const encoder_kernels kNeonKernels;

const encoder_kernels &encoder_kernels_for(instruction_set set) {
  static_cast<void>(set);
#if defined(KELP_PLAIN_KERNELS)
  return kPlainKernels;
#elif defined(__x86_64__)
  switch (set) {
    case instruction_set::avx512: return kAvx512Kernels;
    case instruction_set::avx2: return kAvx2Kernels;
    default: return kPlainKernels;
  }
#elif defined(__aarch64__)
  return kNeonKernels;
#else
  return kPlainKernels;
#endif
}

}  // namespace kelp
