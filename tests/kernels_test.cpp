// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// The encoder's kernels of each instruction set that this machine has, against the plain ones.

#include "enc/excitation_search.h"
#include "tests/support.h"

using namespace kelp;
using namespace kelp_test;

namespace {

constexpr int kRounds = 400;

// Numbers of all sizes: everyday ones in most rounds, then larger ones, then the largest there are.
class numbers {
 public:
  explicit numbers(int round) : random_(static_cast<uint64_t>(round)), bits_(12 + round % 21) {}
  int32_t next() {
    const auto any = static_cast<int32_t>(random_.next());
    if (bits_ == 32 && random_.below(3) == 0) return any < 0 ? kMin32 : kMax32;
    return any >> (32 - bits_);
  }
  template <typename Array>
  void fill(Array *array) {
    for (auto &each : *array) each = static_cast<std::decay_t<decltype(each)>>(next());
  }

 private:
  random_numbers random_;
  int bits_;
};

// The same function of both tables, by its name in the test.
class Kernels : public testing::TestWithParam<instruction_set> {
 protected:
  void SetUp() override {
    if (GetParam() > best_instruction_set()) GTEST_SKIP() << "this processor does not have it";
  }
  const encoder_kernels &fast = encoder_kernels_for(GetParam());
};
INSTANTIATE_TEST_SUITE_P(InstructionSets, Kernels,
                         testing::Values(instruction_set::baseline, instruction_set::avx2,
                                         instruction_set::avx512));

TEST_P(Kernels, PitchSearch) {
  for (int round = 0; round < kRounds; round++) {
    numbers any(round);
    std::array<int32_t, kPitchSubframe> target;
    std::array<int32_t, kImpulseResponse> h;
    std::array<int32_t, kPitchHistory> history;
    any.fill(&target);
    any.fill(&h);
    any.fill(&history);
    h[0] = 16384;
    if (round % 5 == 0) std::fill_n(history.begin() + round % 100, 40, 0);
    lag_scores expected, scores;
    const int32_t *const past = history.data() + kPitchHistory;
    const int first = kFirstLag + round % 17 * 7;
    const int last = round % 3 ? std::min(first + round % 19, kLastLag) : kLastLag;
    kPlainKernels.subframe->score_lags(target.data(), h.data(), past, first, last, &expected);
    fast.subframe->score_lags(target.data(), h.data(), past, first, last, &scores);
    for (int i = first - kFirstLag; i <= last - kFirstLag; i++) {
      ASSERT_EQ(scores.exy[i], expected.exy[i]) << round;
      ASSERT_EQ(scores.eyy[i], expected.eyy[i]) << round;
    }
    // Bounds rule out no lag that would be chosen.
    const auto plain = search_pitch(kPlainKernels, target.data(), h.data(), history.data());
    const auto quick = search_pitch(fast, target.data(), h.data(), history.data());
    ASSERT_TRUE(quick.lag == plain.lag && quick.fraction == plain.fraction) << round;
    ASSERT_TRUE(quick.exy == plain.exy && quick.eyy == plain.eyy) << round;
  }
}

TEST_P(Kernels, SearchSplit) {
  for (int round = 0; round < 10 * kRounds; round++) {
    numbers any(round);
    const int size = round % 2 ? 64 : 128;
    std::array<kelp_lsp_pair, 128> rows;
    for (kelp_lsp_pair &row : rows) row = {any.next() & 0x1FFFF, any.next() & 0x1FFFF};
    if (round % 5 == 0) rows[50] = rows[20];  // ties go to the first
    const kelp_lsp_pair *const table = round % 3 ? rows.data() : kelp_tbl_vq_lsp[round % 2 ? 3 : 1];
    int64_t weight1 = any.next(), weight2 = any.next();
    if (round % 7 == 0) weight1 = (weight1 & kMax32) << (round % 32);
    if (round % 7 < 6) weight2 &= kMax32;
    const int32_t step1 = any.next() & 0x7FFF, step2 = any.next() & 0x7FFF;
    ASSERT_EQ(fast.frame->search_split(table, size, step1, step2, weight1, weight2),
              kPlainKernels.frame->search_split(table, size, step1, step2, weight1, weight2))
        << round;
  }
}

// Candidates that tie or nearly do, of hardly any energy or of too much, and of gains whose words
// wrap, among others.
TEST_P(Kernels, CodebookSearch) {
  for (int round = 0; round < 20 * kRounds; round++) {
    numbers any(round), other(round * 7 % 21);
    std::array<int32_t, kImpulseResponse> h;
    std::array<int32_t, kPitchSubframe> target;
    any.fill(&h);
    other.fill(&target);
    for (int32_t &tap : h) tap >>= round % 18;
    h[0] = 16384;
    std::array<int16_t, kCodebook> codebook;
    std::copy_n(round % 3 ? kelp_tbl_cb : kelp_tbl_cb_half, kCodebook, codebook.begin());
    if (round % 5 == 0) std::copy_n(codebook.begin(), 60, codebook.begin() + 60);
    if (round % 5 == 1) std::fill_n(codebook.begin() + round % 64, 50, int16_t{0});
    if (round % 5 == 2) any.fill(&codebook);
    if (round % 7 == 0) std::fill_n(target.begin(), kPitchSubframe, round % 2);
    filtered_codebook::numbers_of_candidates expected_numbers, numbers;
    filtered_codebook expected(&expected_numbers), filtered(&numbers);
    const auto search = [&](const encoder_kernels &kernels, filtered_codebook *room) {
      kernels.subframe->filter_codebook(codebook.data(), h.data(), room);
      const codebook_choice ten =
          kernels.subframe->search_codebook(codebook.data(), *room, target.data());
      const codebook_choice forty =
          kernels.frame->search_long_codebook(codebook.data(), h.data(), target.data(), room);
      return std::array{ten.index, ten.gain_q16, forty.index, forty.gain_q16};
    };
    ASSERT_EQ(search(fast, &filtered), search(kPlainKernels, &expected)) << round;
  }
}

TEST_P(Kernels, Ring) {
  for (int round = 0; round < kRounds; round++) {
    numbers any(round);
    std::array<int32_t, kRing> memory;
    std::array<int32_t, kPaddedTaps> a = {}, expected, y;
    any.fill(&memory);
    for (int i = 0; i < kRing; i++) a[static_cast<size_t>(i)] = any.next();
    kPlainKernels.subframe->ring(memory.data(), a.data(), expected.data());
    fast.subframe->ring(memory.data(), a.data(), y.data());
    ASSERT_TRUE(std::equal(y.begin(), y.begin() + kRing, expected.begin())) << round;
  }
}

TEST_P(Kernels, Analysis) {
  for (int round = 0; round < kRounds; round++) {
    numbers any(round);
    std::array<int16_t, KELP_FRAME_SAMPLES + kAutocorrelations - 1> speech = {};
    for (size_t n = 0; n < KELP_FRAME_SAMPLES; n++) speech[n] = static_cast<int16_t>(any.next());
    std::array<int32_t, kAutocorrelations> expected, sums;
    kPlainKernels.frame->autocorrelate(speech.data(), expected.data());
    fast.frame->autocorrelate(speech.data(), sums.data());
    ASSERT_EQ(sums, expected) << round;

    std::array<int32_t, 6> polynomial;
    for (int32_t &coefficient : polynomial) coefficient = any.next() >> 12;
    std::array<int32_t, kGridPoints> expected_values, values;
    kPlainKernels.frame->evaluate_grid(polynomial.data(), expected_values.data());
    fast.frame->evaluate_grid(polynomial.data(), values.data());
    ASSERT_EQ(values, expected_values) << round;

    std::array<int32_t, kRateFilterTaps> taps;
    std::array<int32_t, kRateFilterTaps - 1 + KELP_FRAME_SAMPLES> scratch;
    any.fill(&taps);
    any.fill(&scratch);
    std::array<int32_t, kDecimated> expected_output, output;
    kPlainKernels.frame->decimate(scratch.data(), taps.data(), expected_output.data());
    fast.frame->decimate(scratch.data(), taps.data(), output.data());
    ASSERT_EQ(output, expected_output) << round;

    std::array<int32_t, kPeriods> expected_periods, periods;
    kPlainKernels.frame->correlate_periods(scratch.data() + 60, expected_periods.data());
    fast.frame->correlate_periods(scratch.data() + 60, periods.data());
    ASSERT_EQ(periods, expected_periods) << round;

    lsp_columns columns;
    for (auto &row : columns.row) any.fill(&row);
    int64_t expected_products[10][kLspColumns], products[10][kLspColumns];
    kPlainKernels.frame->correlate_columns(columns, expected_products);
    fast.frame->correlate_columns(columns, products);
    for (int k = 0; k < 10; k++) {
      ASSERT_TRUE(std::equal(products[k], products[k] + 10, expected_products[k])) << round;
    }
  }
}

}  // namespace
