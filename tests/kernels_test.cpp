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

TEST_P(Kernels, CorrelateLags) {
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
    kPlainKernels.correlate_lags(target.data(), h.data(), history.data() + kPitchHistory,
                                 &expected);
    fast.correlate_lags(target.data(), h.data(), history.data() + kPitchHistory, &scores);
    ASSERT_TRUE(std::ranges::equal(scores.exy, expected.exy)) << round;
    ASSERT_TRUE(std::ranges::equal(scores.eyy, expected.eyy)) << round;
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
    ASSERT_EQ(fast.search_split(table, size, step1, step2, weight1, weight2),
              kPlainKernels.search_split(table, size, step1, step2, weight1, weight2))
        << round;
  }
}

TEST_P(Kernels, Codebook) {
  for (int round = 0; round < kRounds; round++) {
    numbers any(round);
    std::array<int32_t, kImpulseResponse> h;
    std::array<int32_t, kPitchSubframe> target;
    any.fill(&h);
    any.fill(&target);
    h[0] = 16384;
    const int16_t *const codebook = round % 3 ? kelp_tbl_cb : kelp_tbl_cb_half;
    filtered_codebook expected, filtered;
    float inverse[kCodebook];
    filtered.inverse = inverse;
    std::array<int32_t, kCodebook> expected_exy = {}, exy = {};
    for (int first = 0; first < kPitchSubframe; first += filtered_codebook::kSamples) {
      kPlainKernels.filter_codebook(codebook, h.data(), first, &expected);
      fast.filter_codebook(codebook, h.data(), first, &filtered);
      ASSERT_EQ(std::memcmp(filtered.y, expected.y, sizeof filtered.y), 0) << round;
      ASSERT_TRUE(std::ranges::equal(filtered.energy, expected.energy)) << round;
      kPlainKernels.correlate_codebook(expected, &target[static_cast<size_t>(first)],
                                       expected_exy.data());
      fast.correlate_codebook(filtered, &target[static_cast<size_t>(first)], exy.data());
      ASSERT_EQ(exy, expected_exy) << round;
      const codebook_choice choice = fast.choose_candidate(filtered, exy.data());
      const codebook_choice wanted = kPlainKernels.choose_candidate(expected, exy.data());
      ASSERT_TRUE(choice.index == wanted.index && choice.gain_q16 == wanted.gain_q16) << round;
    }
  }
}

// Candidates that tie or nearly do, without energy, or of gains whose words wrap.
TEST_P(Kernels, ChooseCandidate) {
  for (int round = 0; round < 10 * kRounds; round++) {
    numbers any(round), few(round % 7);
    filtered_codebook filtered;
    float inverse[kCodebook];
    filtered.inverse = inverse;
    std::array<int32_t, kCodebook> exy;
    for (size_t i = 0; i < kCodebook; i++) {
      filtered.energy[i] = round % 2 ? any.next() : few.next() & 15;
      exy[i] = round % 3 ? any.next() : few.next();
      if (round % 5 == 0) filtered.energy[i] = 1000000 + few.next() % 3;
      if (round % 5 == 1) exy[i] = 100000000 + few.next() % 2;
      filtered.inverse[i] = 1.0F / static_cast<float>(filtered.energy[i]);
    }
    const codebook_choice choice = fast.choose_candidate(filtered, exy.data());
    const codebook_choice wanted = kPlainKernels.choose_candidate(filtered, exy.data());
    ASSERT_TRUE(choice.index == wanted.index && choice.gain_q16 == wanted.gain_q16) << round;
  }
}

TEST_P(Kernels, Analysis) {
  for (int round = 0; round < kRounds; round++) {
    numbers any(round);
    std::array<int16_t, KELP_FRAME_SAMPLES + kAutocorrelations - 1> speech = {};
    for (size_t n = 0; n < KELP_FRAME_SAMPLES; n++) speech[n] = static_cast<int16_t>(any.next());
    std::array<int32_t, kAutocorrelations> expected, sums;
    kPlainKernels.autocorrelate(speech.data(), expected.data());
    fast.autocorrelate(speech.data(), sums.data());
    ASSERT_EQ(sums, expected) << round;

    std::array<int32_t, 6> polynomial;
    for (int32_t &coefficient : polynomial) coefficient = any.next() >> 12;
    std::array<int32_t, kGridPoints> expected_values, values;
    kPlainKernels.evaluate_grid(polynomial.data(), expected_values.data());
    fast.evaluate_grid(polynomial.data(), values.data());
    ASSERT_EQ(values, expected_values) << round;

    std::array<int32_t, kRateFilterTaps> taps;
    std::array<int32_t, kRateFilterTaps - 1 + KELP_FRAME_SAMPLES> scratch;
    any.fill(&taps);
    any.fill(&scratch);
    std::array<int32_t, kDecimated> expected_output, output;
    kPlainKernels.decimate(scratch.data(), taps.data(), expected_output.data());
    fast.decimate(scratch.data(), taps.data(), output.data());
    ASSERT_EQ(output, expected_output) << round;

    std::array<int32_t, kPeriods> expected_periods, periods;
    kPlainKernels.correlate_periods(scratch.data() + 60, expected_periods.data());
    fast.correlate_periods(scratch.data() + 60, periods.data());
    ASSERT_EQ(periods, expected_periods) << round;
  }
}

}  // namespace
