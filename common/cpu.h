// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// Which instructions this processor has beyond those that every one of its kind has.
#ifndef KELP_COMMON_CPU_H
#define KELP_COMMON_CPU_H

namespace kelp {

// Each includes the ones before it. NEON needs no name here: every arm64 processor has it.
enum class instruction_set {
  baseline,
  avx2,
  avx512,  // F, BW, DQ and VL
};

// The largest one that processor and operating system offer. Asked once, when a handle is created.
instruction_set best_instruction_set();

}  // namespace kelp

#endif  // KELP_COMMON_CPU_H
