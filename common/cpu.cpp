// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "common/cpu.h"

#if defined(__x86_64__)
#include <cpuid.h>
#include <cstdint>

namespace kelp {
namespace {

// Registers that the operating system saves when it switches threads. Without them the wider
// instructions fault, whatever the processor can do.
uint32_t saved_registers() {
  uint32_t low = 0;
  uint32_t high = 0;
  __asm__("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
  return low;
}

constexpr bool has(uint32_t value, uint32_t bits) {
  return (value & bits) == bits;
}

}  // namespace

instruction_set best_instruction_set() {
  constexpr uint32_t kSavesAvx = 0x06;
  constexpr uint32_t kSavesAvx512 = 0xE6;
  uint32_t a = 0;
  uint32_t b = 0;
  uint32_t c = 0;
  uint32_t d = 0;
  if (__get_cpuid(1, &a, &b, &c, &d) == 0 || !has(c, bit_OSXSAVE | bit_FMA)) {
    return instruction_set::baseline;
  }
  const uint32_t saved = saved_registers();
  if (__get_cpuid_count(7, 0, &a, &b, &c, &d) == 0 || !has(b, bit_AVX2) || !has(saved, kSavesAvx)) {
    return instruction_set::baseline;
  }
  const bool wide = has(b, bit_AVX512F | bit_AVX512BW | bit_AVX512DQ | bit_AVX512VL);
  return wide && has(saved, kSavesAvx512) ? instruction_set::avx512 : instruction_set::avx2;
}

}  // namespace kelp

#else

kelp::instruction_set kelp::best_instruction_set() {
  return instruction_set::baseline;
}

#endif
