// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// What the benchmarks run on: the recorded speech of the tests, put together in three ways. Always
// the same samples, in whole frames.
#ifndef KELP_BENCH_SPEECH_H
#define KELP_BENCH_SPEECH_H

#include <cstdint>
#include <vector>

namespace kelp::bench {

struct speech {
  // Every recording as it is, one after the other.
  std::vector<int16_t> recordings;
  // Speech alone: the first 3 s of each recording once its pauses of 100 ms and more are cut.
  std::vector<int16_t> active;
  // Two talkers by turns of 2 s and more, each up to a pause in the recording, with 300 ms between
  // turns: first the whole of one talker's line, then the whole of the other's. A line is silent
  // while the other talks, but for the noise that it always has (-72 dBov, white).
  std::vector<int16_t> conversation;
};

// Ends the program with a message where recordings are missing.
speech load_speech();

// Processor and instruction sets, which kernels the library runs there, and how much of the speech
// goes at which rate.
void print_setting(const speech &speech);

}  // namespace kelp::bench

#endif  // KELP_BENCH_SPEECH_H
