// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// Codebook search: all 128 stretches of the circular codebook, each filtered by shifting one sample
// into the one before.

#include "common/wrapping.h"
#include "enc/excitation_search.h"

namespace kelp {
namespace {

struct candidate_score {
  int32_t gain_q16;
  int64_t error;
};

// Optimal gain and error of a filtered candidate. Correlation, energy and gain are 32-bit words,
// the gain's product wraps.
candidate_score score(const int32_t *target, const int32_t *y, int n) {
  int64_t correlation = 0;
  int64_t candidate_energy = 0;
  for (int k = 0; k < n; k++) {
    correlation = wrap_add64(correlation, product(y[k], target[k]) >> 14);
    candidate_energy = wrap_add64(candidate_energy, product(y[k], y[k]) >> 14);
  }
  const int32_t exy = low32(correlation);
  const int32_t eyy = low32(candidate_energy);
  const uint32_t reciprocal = eyy == 0 ? 0 : 0x80000000U / magnitude(eyy);
  const auto size = static_cast<int32_t>((magnitude(exy) >> 15) * reciprocal);
  const int32_t gain = (exy < 0) != (eyy < 0) ? wrap_neg(size) : size;

  const auto gain_square = static_cast<int64_t>(static_cast<uint64_t>(product(gain, gain)) >> 16);
  const int64_t energy_term = wrap_mul64(gain_square, eyy) >> 16;
  return {gain, wrap_sub64(energy_term, product(exy, gain) >> 15)};
}

}  // namespace

codebook_choice search_codebook(const int32_t *target, const int32_t h[kImpulseResponse],
                                const int16_t codebook[128], int n) {
  // Sample k of index i is codebook[(k - i) mod 128], doubled to Q14.
  const auto sample = [codebook](int position) { return 2 * codebook[position & 127]; };
  int32_t y[kPitchSubframe] = {};
  for (int k = n - 1; k > 0; k--) shift_in(y, sample(k), h, n);

  codebook_choice best = {};
  int64_t best_error = 16384000000000;
  for (int i = 0; i < 128; i++) {
    shift_in(y, sample(-i), h, n);
    const candidate_score current = score(target, y, n);
    if (current.error < best_error) {
      best_error = current.error;
      best = {current.gain_q16, i};
    }
  }
  return best;
}

}  // namespace kelp
