// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "enc/kernels.h"

namespace kelp {

const encoder_kernels kPlainKernels = {&kPlainSubframeKernels, &kPlainFrameKernels};

const encoder_kernels &encoder_kernels_for([[maybe_unused]] instruction_set set) {
#if defined(KELP_PLAIN_KERNELS)
  return kPlainKernels;
#elif defined(__x86_64__)
#if defined(KELP_AVX512)
  // What runs once a frame gains nothing from the wider registers.
  static const encoder_kernels avx512 = {&kAvx512SubframeKernels, &kAvx2FrameKernels};
  if (set == instruction_set::avx512) return avx512;
#endif
  static const encoder_kernels avx2 = {&kAvx2SubframeKernels, &kAvx2FrameKernels};
  return set == instruction_set::baseline ? kPlainKernels : avx2;
#elif defined(__aarch64__)
  static const encoder_kernels neon = {&kNeonSubframeKernels, &kNeonFrameKernels};
  return neon;
#else
  return kPlainKernels;
#endif
}

}  // namespace kelp
