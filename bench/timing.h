// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
#ifndef KELP_BENCH_TIMING_H
#define KELP_BENCH_TIMING_H

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <ctime>
#include <utility>
#include <vector>

namespace kelp::bench {

inline double median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

// Processor time of this thread.
inline double thread_seconds() {
  timespec now = {};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

// Seconds that work() takes, with what two readings of the clock cost (some 20 ns).
template <typename Work>
double seconds(const Work &work) {
  using clock = std::chrono::steady_clock;
  const clock::time_point start = clock::now();
  work();
  return std::chrono::duration<double>(clock::now() - start).count();
}

// Seconds that work() takes as a rule, prepare() running untimed before each try: what it touches
// is in the cache. A try that another process breaks into does not count.
template <typename Prepare, typename Work>
double typical_seconds(const Prepare &prepare, const Work &work) {
  constexpr int kTries = 15;
  std::vector<double> tries;
  for (int i = 0; i < kTries; i++) {
    prepare();
    tries.push_back(seconds(work));
  }
  return median(std::move(tries));
}

}  // namespace kelp::bench

#endif  // KELP_BENCH_TIMING_H
