// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// The process-wide words: the only writable globals.

#include "kelp.h"

uint32_t kelp_inited = 0;
int32_t erasure_count = 0;

int32_t kelp_init(void) {
  if (kelp_inited == 0) kelp_inited = 1;
  return KELP_OK;
}

uintptr_t kelp_deinit(uintptr_t value) {
  return value;
}
int32_t kelp_q(void) {
  return KELP_OK;
}

extern "C" {
[[gnu::alias("kelp_deinit")]] uintptr_t kelp_platform_deinit(uintptr_t value);
[[gnu::alias("kelp_q")]] int32_t kelp_platform_init(void);
}
