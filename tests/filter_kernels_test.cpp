// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// The filter kernels of every instruction set that this machine has, against the plain ones: random
// and extreme values, every length, unaligned pointers, in place and not, guard words around.

#include "common/filter_kernels.h"

#include "tests/support.h"

using namespace kelp;
using namespace kelp_test;

namespace {

constexpr int kGuard = 0x5A5A5A5A;
using words = std::vector<int32_t>;

// Small, large or any numbers, and extreme ones among them.
words numbers(random_numbers *random, size_t count) {
  words result(count);
  const uint32_t shift = random->below(3) * 10;
  for (int32_t &word : result) {
    word = static_cast<int32_t>(random->next()) >> shift;
    if (random->below(50) == 0) word = random->below(2) ? kMax32 : kMin32;
  }
  return result;
}

// Samples between guards, their start aligned to nothing.
template <typename Sample = int32_t>
struct guarded {
  std::vector<Sample> block;
  guarded(int n, const words &from) : block(static_cast<size_t>(n) + 2) {
    block.front() = block.back() = static_cast<Sample>(kGuard);
    for (size_t i = 1; i + 1 < block.size(); i++) block[i] = static_cast<Sample>(from[i - 1]);
  }
  Sample *data() { return block.data() + 1; }
};

// Calls body(kernels) for the plain kernels and for each other set: all must return the same.
template <typename Body>
void compare(const Body &body) {
  const auto expected = body(kPlainFilterKernels);
  for (int i = 0; i <= static_cast<int>(best_instruction_set()); i++) {
    ASSERT_EQ(body(filter_kernels_for(static_cast<instruction_set>(i))), expected);
  }
}

struct trial {
  random_numbers random;
  const bool update = random.below(2) != 0, in_place = random.below(2) != 0;
  words x = numbers(&random, kMaxRun);

  explicit trial(uint64_t seed) : random(seed) {}
  int length(int most) {
    constexpr int kUsual[] = {10, 20, 40, 160};
    return random.below(2) ? std::min(kUsual[random.below(4)], most) : random.between(0, most);
  }
  // Everything that run(in, memory, out) leaves behind it.
  template <typename Run>
  words blocks(int n, const Run &run, guarded<> memory = {0, {}}) const {
    guarded in(n, x), out(n, x);
    run(in_place ? out.data() : in.data(), memory.data(), out.data());
    words all = in.block;
    for (const auto *more : {&out.block, &memory.block}) {
      all.insert(all.end(), more->begin(), more->end());
    }
    return all;
  }
};

TEST(FilterKernels, TenthOrder) {
  for (uint64_t seed = 0; seed < 500; seed++) {
    trial t(seed);
    const int n = t.length(kMaxRun);
    const words memory = numbers(&t.random, kLpcOrder), a = numbers(&t.random, kLpcOrder);
    const auto c = static_cast<int32_t>(t.random.next()) >> t.random.below(20);
    for (const auto filter : {&filter_kernels::zero, &filter_kernels::pole}) {
      compare([&](const filter_kernels &kernels) {
        return t.blocks(n,
                        [&](const int32_t *in, int32_t *past, int32_t *out) {
                          (kernels.*filter)(in, past, a.data(), n, t.update, out);
                        },
                        {kLpcOrder, memory});
      });
    }
    // All three of them.
    const int m = std::min(n, kMaxSubframe);
    const words b = numbers(&t.random, kLpcOrder), wider = numbers(&t.random, kMaxRun);
    const bool own = t.in_place || t.update;  // the last output has a place of its own
    compare([&](const filter_kernels &kernels) {
      guarded second(m, wider), poles(kLpcOrder, b);
      int32_t last = memory[3];
      words all =
          t.blocks(m,
                   [&](const int32_t *in, int32_t *past, int32_t *out) {
                     kernels.short_term(
                         in, {a.data(), memory.data(), b.data(), past, poles.data(), c, &last}, m,
                         out, own ? second.data() : const_cast<int32_t *>(in));
                   },
                   {kLpcOrder, memory});
      all.push_back(last);
      for (const guarded<> *more : {&second, &poles}) {
        all.insert(all.end(), more->block.begin(), more->block.end());
      }
      return all;
    });
  }
}

TEST(FilterKernels, Pitch) {
  for (uint64_t seed = 0; seed < 500; seed++) {
    trial t(seed);
    const words history = numbers(&t.random, kPitchHistory);
    for (int i = 0; i < 20; i++) {
      const int n = t.length(kMaxSubframe);
      const int32_t fraction = t.random.between(-1, 1) * 2, gain = t.random.between(0, 16);
      const int32_t lag = t.random.between(fraction == 0 ? 0 : 17, t.random.below(2) ? 143 : 60);
      for (const auto rounding : {pitch_rounding::each_term, pitch_rounding::sum}) {
        compare([&](const filter_kernels &kernels) {
          return t.blocks(n,
                          [&](const int32_t *in, int32_t *past, int32_t *out) {
                            kernels.pitch(in, lag, gain, fraction, rounding, past, n, t.update,
                                          out);
                          },
                          {kPitchHistory, history});
        });
      }
    }
  }
}

TEST(FilterKernels, Levels) {
  for (uint64_t seed = 0; seed < 500; seed++) {
    trial t(seed);
    const int n = t.length(kMaxRun);
    const int down = t.random.between(0, 8), shift = t.random.between(0, 6);
    const auto gain = static_cast<int32_t>(t.random.next()) >> t.random.below(31);
    const int32_t index = t.random.between(0, 127);
    compare([&](const filter_kernels &kernels) { return kernels.energy(t.x.data(), n, down); });
    compare([&](const filter_kernels &kernels) {
      return t.blocks(n, [&](const int32_t *in, int32_t *, int32_t *out) {
        kernels.scale(in, n, down, gain, shift, out);
      });
    });
    compare([&](const filter_kernels &kernels) {
      return t.blocks(n, [&](const int32_t *, int32_t *, int32_t *out) {
        kernels.codebook(kelp_tbl_cb, index, gain, n, out);
      });
    });
    compare([&](const filter_kernels &kernels) {
      guarded in(n, t.x);
      guarded<int16_t> pcm(n, t.x);
      kernels.to_pcm(in.data(), n, pcm.data());
      return pcm.block;
    });
  }
}

}  // namespace
