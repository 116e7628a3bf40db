// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// What the library takes from malloc and gives back to free: the linker hands both to this file
// (--wrap). A program of its own, in which nothing has called kelp_init before.

#include <utility>
#include <vector>

#include "tests/support.h"

// Never destroyed: what a coverage build does at the very end allocates too.
static auto &requests = *new std::vector<size_t>;
static auto &live = *new std::vector<void *>;
static size_t fail_at = SIZE_MAX;  // number of the request that fails

extern "C" {
void *__real_malloc(size_t size);
void __real_free(void *block);

void *__wrap_malloc(size_t size) {
  requests.push_back(size);
  if (requests.size() - 1 == fail_at || size > 1u << 30) return nullptr;
  live.push_back(__real_malloc(size));
  return live.back();
}
void __wrap_free(void *block) {
  kelp_test::require(block == nullptr || std::erase(live, block) == 1, "a block is freed once");
  __real_free(block);
}
}

namespace {

using namespace kelp_test;

TEST(BeforeInit, CreateIsRefused) {
  EXPECT_EQ(kelp_inited, 0u);
  for (const auto create : {kelpd_create, kelpe_create}) {
    int32_t err = 0;
    EXPECT_TRUE(create(&kDefaultConfig, &err) == nullptr && err == KELP_ERR_STATE);
  }
}

TEST(Memory, HandlesTakeTwoBlocksAndFramesNone) {
  live.clear();
  {
    decoder decoder;
    encoder encoder;
    ASSERT_EQ(live.size(), 4u);
    requests.clear();
    encoder.encode(frame{}.data());
    decoder.decode({KELP_RATE_ERASURE});
    EXPECT_TRUE(requests.empty());
    void *const work_area = live[3];
    kelpe_delete(std::exchange(encoder.handle, nullptr));  // frees the handle block alone
    EXPECT_TRUE(live.size() == 3 && live[2] == work_area);
    __wrap_free(work_area);
  }
  EXPECT_TRUE(live.empty());  // kelpd_delete frees both
}

TEST(Memory, FailedAllocationLeavesNothing) {
  kelp_init();
  live.clear();
  const kelp_config refused = {{0, 0, 0}, 1};
  for (const auto create : {kelpd_create, kelpe_create}) {
    for (const size_t request : {0u, 1u}) {
      requests.clear();
      fail_at = request;
      int32_t err = 0;
      EXPECT_TRUE(create(&kDefaultConfig, &err) == nullptr && err == KELP_ERR_NO_MEMORY);
    }
    fail_at = SIZE_MAX;
    EXPECT_EQ(create(&refused, nullptr), nullptr);
    EXPECT_TRUE(live.empty());
  }
  decoder decoder;
  encoder encoder;
  for (const bool encodes : {false, true}) {
    void *const handle = encodes ? encoder.handle : decoder.handle;
    const auto ready = encodes ? kelpe_ready : kelpd_ready;
    (encodes ? kelpe_flush : kelpd_flush)(handle);
    fail_at = requests.size();
    EXPECT_EQ(ready(handle), KELP_ERR_NO_MEMORY);
    fail_at = SIZE_MAX;
    EXPECT_EQ(ready(handle), KELP_OK);
  }
}

TEST(Memory, AlignedBlocks) {
  for (uint32_t size = 0; size < 200; size++) {
    void *const block = size % 2 ? kcmn_malloc_align32(size) : kcmn_malloc_fast_align32(size);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(block) % 32, 0u);
    EXPECT_EQ(requests.back(), size + 40);
    std::memset(block, 0xFF, size);
    size % 3 ? kcmn_mfree_align32(block) : kcmn_mfree_fast_align32(block);
  }
  kcmn_mfree_align32(nullptr);
  kcmn_mfree_fast_align32(nullptr);
  // The sum is 32-bit, then widened with its sign.
  EXPECT_EQ(kcmn_malloc_align32(0x7FFFFFE0), nullptr);
  EXPECT_EQ(requests.back(), 0xFFFFFFFF80000008);
  EXPECT_EQ(kcmn_malloc_align32(0xFFFFFFFF), nullptr);
  EXPECT_EQ(requests.back(), 39u);
}

}  // namespace
