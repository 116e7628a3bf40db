// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
#ifndef KELP_TOOLS_LSP_TRAINING_PARALLEL_H
#define KELP_TOOLS_LSP_TRAINING_PARALLEL_H

#include <atomic>
#include <cstddef>
#include <thread>
#include <vector>

namespace kelp::training {

// Work is cut into a fixed number of chunks whatever the machine, and sums are taken in their
// order: the same corpus gives the same tables, byte for byte.
inline constexpr size_t kChunks = 16;

// Calls work(chunk, begin, end) for each chunk of [0, count).
template <typename Work>
void in_chunks(size_t count, const Work &work) {
  std::atomic<size_t> next{0};
  const auto run = [&] {
    for (size_t c = next++; c < kChunks; c = next++) {
      work(c, count * c / kChunks, count * (c + 1) / kChunks);
    }
  };
  std::vector<std::thread> threads;
  for (unsigned t = 1; t < std::thread::hardware_concurrency(); t++) threads.emplace_back(run);
  run();
  for (std::thread &thread : threads) thread.join();
}

}  // namespace kelp::training

#endif  // KELP_TOOLS_LSP_TRAINING_PARALLEL_H
