// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "kelp.h"

namespace {
constexpr uint32_t kAlignment = 32;
}

void *kcmn_malloc_align32(uint32_t size) {
  // The sum is 32-bit and widened as a signed value: from 2^31 - 32 on it asks for nearly all of
  // the address space, which fails.
  const auto padded = static_cast<int32_t>(size + kAlignment);
  const auto request = static_cast<size_t>(int64_t{padded} + 8);
  void *const raw = std::malloc(request);
  if (raw == nullptr) return nullptr;
  // The last 32 sizes wrap to a request too small for the raw pointer, let alone the block.
  if (request < size) {
    std::free(raw);
    return nullptr;
  }
  // Rounding raw + 39 down leaves at least 8 bytes in front of the block for the raw pointer.
  const auto aligned =
      (reinterpret_cast<uintptr_t>(raw) + kAlignment + 7) & ~uintptr_t{kAlignment - 1};
  void *const block = reinterpret_cast<void *>(aligned);
  std::memcpy(reinterpret_cast<void *>(aligned - sizeof raw), &raw, sizeof raw);
  return block;
}

void kcmn_mfree_align32(void *block) {
  if (block == nullptr) return;
  void *raw = nullptr;
  std::memcpy(&raw, static_cast<uint8_t *>(block) - sizeof raw, sizeof raw);
  std::free(raw);
}

void kcmn_blk_mcpy(void *destination, const void *source, int32_t destination_stride,
                   int32_t source_stride, int32_t row_bytes, int32_t rows) {
  if (row_bytes < 1) return;
  auto *to = static_cast<uint8_t *>(destination);
  const auto *from = static_cast<const uint8_t *>(source);
  for (int32_t row = 0; row < rows; row++) {
    // Indexed from the start: no pointer is formed beyond the last row.
    std::memcpy(to + std::ptrdiff_t{row} * destination_stride,
                from + std::ptrdiff_t{row} * source_stride, static_cast<size_t>(row_bytes));
  }
}

extern "C" {
[[gnu::alias("kcmn_malloc_align32")]] void *kcmn_malloc_fast_align32(uint32_t size);
[[gnu::alias("kcmn_mfree_align32")]] void kcmn_mfree_fast_align32(void *block);
}
