// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// The filter kernels of every instruction set that this machine has, against the plain ones: random
// and extreme values, every length, unaligned pointers, in place and not, guard words around.

#include "common/filter_kernels.h"

#include "tables/excitation_codebooks.h"
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
    for (const auto filter : {&filter_kernels::zero, &filter_kernels::pole}) {
      compare([&](const filter_kernels &kernels) {
        return t.blocks(n,
                        [&](const int32_t *in, int32_t *past, int32_t *out) {
                          (kernels.*filter)(in, past, a.data(), n, t.update, out);
                        },
                        {kLpcOrder, memory});
      });
    }
  }
}

TEST(FilterKernels, ShortTerm) {
  for (uint64_t seed = 0; seed < 500; seed++) {
    trial t(seed);
    const int subframes = t.random.between(1, kSets), n = t.random.between(10, 160 / subframes);
    const int sets = t.random.below(2) ? subframes : 1;
    coefficient_sets lpc;
    int32_t weights[kLpcOrder][4];
    for (auto &row : lpc) std::copy_n(numbers(&t.random, kSets).data(), kSets, row);
    for (auto &row : weights) {
      row[kFormant] = 1 << 14;
      row[kZeros] = t.random.between(-(1 << 14), 0);
      row[kBright] = 0;
      row[kPoles] = t.random.between(0, 1 << 14);
    }
    const words formant = numbers(&t.random, kLpcOrder), poles = numbers(&t.random, kLpcOrder);
    const auto bright = static_cast<int32_t>(t.random.next()) >> t.random.below(20);
    compare([&](const filter_kernels &kernels) {
      guarded block(kRoomBefore + subframes * n + kRoomBehind,
                    words(kRoomBefore + kMaxRun + kRoomBehind));
      int32_t *const x = block.data() + kRoomBefore;
      std::copy_n(t.x.data(), subframes * n, x);
      guarded first(kLpcOrder, formant), second(kLpcOrder, poles);
      int32_t last = t.x[3];
      std::vector<int64_t> result(static_cast<size_t>(subframes));
      kernels.short_term(x, {&lpc, weights, first.data(), second.data(), bright, &last}, subframes,
                         n, sets, result.data());
      result.insert(result.end(), {last, block.block.front(), block.block.back()});
      result.insert(result.end(), x, x + subframes * n);
      for (const guarded<> *more : {&first, &second}) {
        result.insert(result.end(), more->block.begin(), more->block.end());
      }
      return result;
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
        compare([&](const filter_kernels &kernels) {
          words both = history;
          both.insert(both.end(), t.x.begin(), t.x.begin() + n);
          guarded block(kPitchHistory + n, both);
          kernels.pitch_on(block.data() + kPitchHistory, lag, gain, fraction, rounding, n);
          return block.block;
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
    compare([&](const filter_kernels &kernels) { return kernels.energy(t.x.data(), n, down); });
    compare([&](const filter_kernels &kernels) {
      return t.blocks(n, [&](const int32_t *in, int32_t *, int32_t *out) {
        kernels.scale(in, n, down, gain, shift, out);
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

TEST(FilterKernels, Excitation) {
  for (uint64_t seed = 0; seed < 500; seed++) {
    trial t(seed);
    const int c = t.random.between(1, 4), m = t.length(kMaxSubframe);
    codebook_record records[4];
    for (codebook_record &record : records) {
      record.gain_q16 = static_cast<int32_t>(t.random.next()) >> t.random.below(31);
      record.index = t.random.between(0, 127);
      record.seed = static_cast<int32_t>(t.random.next()) >> t.random.below(31);
    }
    const auto &codebook = t.update ? kFullRateCodebook : kHalfRateCodebook;
    compare([&](const filter_kernels &kernels) {
      guarded out(c * m, t.x);
      kernels.codebooks(codebook.data(), records, m, c, out.data());
      return out.block;
    });
    compare([&](const filter_kernels &kernels) {
      guarded out(m, t.x);
      kernels.codebook(kelp_tbl_cb, records[0].index, records[0].gain_q16, m, out.data());
      return out.block;
    });
    compare([&](const filter_kernels &kernels) {
      guarded out(m, t.x);
      out.block.push_back(kernels.noise(records[0].seed, records[0].gain_q16, m, out.data()));
      return out.block;
    });
  }
}

TEST(FilterKernels, CoefficientSets) {
  for (uint64_t seed = 0; seed < 2000; seed++) {
    trial t(seed);
    int32_t lsp[2][kLpcOrder];
    for (auto &set : lsp) {
      for (int32_t &one : set) one = t.random.between(0, 32767);
      if (t.random.below(4) == 0) set[t.random.below(kLpcOrder)] = t.x[0];
    }
    const int16_t *const weights = tbl_lsp_interp[t.random.below(5)];
    compare([&](const filter_kernels &kernels) {
      coefficient_sets sets[2];  // the second a guard
      std::fill_n(&sets[0][0][0], 2 * kLpcOrder * kSets, kGuard);
      kernels.lpc(lsp[0], lsp[1], weights, &sets[0]);
      return words(&sets[0][0][0], &sets[0][0][0] + 2 * kLpcOrder * kSets);
    });
    coefficient_sets a;
    for (auto &row : a) std::copy_n(numbers(&t.random, kSets).data(), kSets, row);
    compare([&](const filter_kernels &kernels) {
      int32_t y[kImpulseResponse + 1][kSets];  // the last a guard
      std::fill_n(y[kImpulseResponse], kSets, kGuard);
      kernels.impulses(a, y);
      return words(&y[0][0], &y[0][0] + sizeof y / sizeof y[0][0]);
    });
  }
}

}  // namespace
