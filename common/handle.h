// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// What decoder and encoder handles have in common: a tag in front, zeroed blocks from the aligned
// allocator, a table of operations.
#ifndef KELP_COMMON_HANDLE_H
#define KELP_COMMON_HANDLE_H

#include <cstdint>
#include <cstring>

#include "kelp.h"

namespace kelp {

// A zeroed record in a block of its own, or null.
template <typename Record>
Record *new_record() {
  void *const block = kcmn_malloc_align32(sizeof(Record));
  if (block != nullptr) std::memset(block, 0, sizeof(Record));
  return static_cast<Record *>(block);
}

// The handle when it is one of this kind, else null.
template <typename Handle>
Handle *checked_handle(void *handle, uint32_t tag) {
  auto *const checked = static_cast<Handle *>(handle);
  return checked != nullptr && checked->tag == tag ? checked : nullptr;
}

// The fourth slot is always null and left alone.
inline void clear_operations(kelp_codec_ops *ops) {
  ops->prepare = nullptr;
  ops->release = nullptr;
  ops->process = nullptr;
}

// Tells a create function's caller the code, if they want it.
inline void report(int32_t *err, int32_t code) {
  if (err != nullptr) *err = code;
}

}  // namespace kelp

#endif  // KELP_COMMON_HANDLE_H
