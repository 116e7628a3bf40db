// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// The searches' loops over several words at a time, for the source of each instruction set to
// include after its `lanes`. Everything has internal linkage, so that no other source can take
// these copies.

#include <cmath>
#include <cstring>
#include <limits>

#include "enc/kernels.h"

namespace {

using kelp::filtered_codebook;
using kelp::kCodebook;
using kelp::kFirstLag;
using kelp::kImpulseResponse;
using kelp::kLags;
using kelp::kLastLag;
using kelp::kPitchSubframe;

using words = lanes::words;
using sums = lanes::sums;
constexpr int kWords = lanes::kWords;

constexpr int vectors_for(int count) {
  return (count + kWords - 1) / kWords;
}

int32_t held_energy(int64_t energy) {
  const int64_t held = energy >> 7;
  constexpr int64_t kMost = std::numeric_limits<int32_t>::max();
  return static_cast<int32_t>(held < kMost ? held : kMost);
}

// Lags below the subframe, which repeat their vector: one after the other, over the subframe. The
// filtered vector stays in registers from lag to lag.
void correlate_short_lags(const int32_t *target, const int32_t *h, const int32_t *past,
                          kelp::lag_scores *scores) {
  constexpr int kVectors = vectors_for(kPitchSubframe);
  constexpr int kTaps = vectors_for(kImpulseResponse);
  int32_t padded[kVectors * kWords] = {};
  std::memcpy(padded, h, kImpulseResponse * sizeof *h);
  padded[0] = 0;  // the sample itself comes in by the shift
  words tap[kTaps];
  for (int i = 0; i < kTaps; i++) tap[i] = lanes::load(padded + i * kWords);
  std::memset(padded, 0, sizeof padded);
  std::memcpy(padded, target, kPitchSubframe * sizeof *target);

  int32_t repeated[2 * kPitchSubframe + kWords] = {};  // zeros, then y
  words y[kVectors];
  for (words &each : y) each = lanes::splat(0);
  for (int lag = 1; lag < kPitchSubframe; lag++) {
    const words first = lanes::splat(past[-lag]);
    for (int i = kVectors - 1; i > 0; i--) y[i] = lanes::shift_up(y[i - 1], y[i]);
    y[0] = lanes::shift_up(first, y[0]);
    for (int i = 0; i < kTaps; i++) y[i] = lanes::add(y[i], lanes::product14(first, tap[i]));
    if (lag < kFirstLag) continue;

    for (int i = 0; i < kVectors; i++) lanes::store(repeated + kPitchSubframe + i * kWords, y[i]);
    sums exy = lanes::zero_sums();
    sums eyy = lanes::zero_sums();
    for (int i = 0; i < kVectors; i++) {
      const int32_t *const at = repeated + kPitchSubframe + i * kWords;
      words v = lanes::add(lanes::load(at), lanes::load(at - lag));
      // The last vector may be longer than the subframe.
      if (i == kVectors - 1) v = lanes::first_words<kPitchSubframe - (kVectors - 1) * kWords>(v);
      lanes::add_product18(&exy, v, lanes::load(padded + i * kWords));
      lanes::add_square18(&eyy, v);
    }
    const int i = lag - kFirstLag;
    scores->exy[i] = lanes::total(exy) - lanes::bias18(kVectors * kWords);
    scores->eyy[i] = held_energy(lanes::total(eyy));
  }
}

// The other lags side by side. Sample k of lag L is samples[m] with m = L - 1 - k and the response
// to the samples after it, as many as come in before: after 20 it is finished and the same for
// every further k. So `filtered` takes one tap a round, and serves all lags.
void correlate_long_lags(const int32_t *target, const int32_t *h, const int32_t *past,
                         kelp::lag_scores *scores) {
  constexpr int kLongLags = kLastLag - kPitchSubframe + 1;
  constexpr int kBlocks = vectors_for(kLongLags);
  constexpr int kPast = vectors_for(kLastLag) * kWords;
  int32_t samples[kPast + 2 * kImpulseResponse] = {};  // newest first
  int32_t filtered[kPitchSubframe + kBlocks * kWords];
  for (int m = 0; m < kLastLag; m++) samples[m] = past[-1 - m];
  std::memcpy(filtered, samples, sizeof filtered);
  sums exy[kBlocks];
  sums eyy[kBlocks];
  for (int b = 0; b < kBlocks; b++) exy[b] = eyy[b] = lanes::zero_sums();

  // Where the sums of all lags fit into registers they stay there for the whole subframe.
  constexpr bool kAllAtOnce = kBlocks < 8;
  for (int k = 0; k < (kAllAtOnce ? kPitchSubframe : kImpulseResponse); k++) {
    if (k > 0 && k < kImpulseResponse) {
      const words tap = lanes::splat(h[k]);
      for (int m = 0; m < kLastLag - k; m += kWords) {
        const words response = lanes::product14(lanes::load(samples + m + k), tap);
        lanes::store(filtered + m, lanes::add(lanes::load(filtered + m), response));
      }
    }
    const words t = lanes::splat(target[k]);
    const int32_t *const y = filtered + kPitchSubframe - 1 - k;
#pragma GCC unroll 8
    for (int b = 0; b < kBlocks; b++) lanes::add_product18(&exy[b], lanes::load(y + b * kWords), t);
    if (k >= kImpulseResponse - 1) continue;
    for (int b = 0; b < kBlocks; b++) lanes::add_square18(&eyy[b], lanes::load(y + b * kWords));
  }

  // Energy of the finished samples, which slides from lag to lag.
  int64_t sliding = 0;
  const auto square = [&filtered](int m) { return int64_t{filtered[m]} * filtered[m] >> 18; };
  for (int m = 0; m < kPitchSubframe - kImpulseResponse; m++) sliding += square(m);
  for (int b = 0; b < kBlocks; b++) {
    sums sum = exy[b];
    const int32_t *const y = filtered + kPitchSubframe - 1 + b * kWords;
    for (int k = kImpulseResponse; !kAllAtOnce && k < kPitchSubframe; k++) {
      lanes::add_product18(&sum, lanes::load(y - k), lanes::splat(target[k]));
    }
    int64_t correlation[kWords];
    int64_t energy[kWords];
    lanes::store_sums(correlation, sum);
    lanes::store_sums(energy, eyy[b]);
    for (int j = 0; j < kWords && b * kWords + j < kLongLags; j++) {
      const int lag = kPitchSubframe + b * kWords + j;
      sliding += square(lag - kImpulseResponse);
      scores->exy[lag - kFirstLag] = correlation[j] - lanes::bias18(kPitchSubframe);
      scores->eyy[lag - kFirstLag] = held_energy(energy[j] + sliding);
      sliding -= square(lag - kPitchSubframe);
    }
  }
}

void correlate_lags(const int32_t *target, const int32_t *h, const int32_t *past,
                    kelp::lag_scores *scores) {
  correlate_short_lags(target, h, past, scores);
  correlate_long_lags(target, h, past, scores);
}

// A lag explains exy^2 / (2^14 eyy) of the target and no more: every truncation takes away from it.
// Correlations half a sample on carry the roundings of four terms.
void bound_lags(const kelp::lag_scores &scores, kelp::lag_bounds *bounds) {
  constexpr float kNear = 9116553.0F / (1 << 24);
  constexpr float kFar = -521384.0F / (1 << 24);
  constexpr float kScale = 1.0F / (1 << 14);
  constexpr float kTolerance = 1.0F / (1 << 20);
  constexpr float kHuge = 5e11F;  // below 2^39: the taps' products hold
  float exy[kLags];
  float eyy[kLags];
  for (int i = 0; i < kLags; i++) exy[i] = static_cast<float>(scores.exy[i]);
  for (int i = 0; i < kLags; i++) eyy[i] = static_cast<float>(scores.eyy[i]);
  const auto larger = [](float a, float b) { return a > b ? a : b; };
  for (int i = 1; i < kLags - 2; i++) {
    // Energies below 9 explain nothing.
    bounds->whole[i] = exy[i] * exy[i] * kScale / larger(eyy[i], 4);
    const float near = exy[i] + exy[i + 1];
    const float far = exy[i - 1] + exy[i + 2];
    const float sizes =
        std::fabs(exy[i]) + std::fabs(exy[i + 1]) + std::fabs(exy[i - 1]) + std::fabs(exy[i + 2]);
    const float half = larger(kNear * near + kFar * far + sizes * kTolerance + 4, 0);
    const float energy = (eyy[i] + eyy[i + 1]) * (0.5F - kTolerance) - 1;
    const float bound = half * half * kScale / larger(energy, 4);
    bounds->half[i] = sizes < kHuge ? bound : std::numeric_limits<float>::infinity();
  }
}

// Distortions in real numbers pick out the few rows whose exact one can be the least. Where words
// could wrap they pick every row.
uint32_t search_split(const kelp_lsp_pair *codebook, int size, int32_t step1, int32_t step2,
                      int64_t weight1, int64_t weight2) {
  constexpr int kMostRows = 128;
  constexpr float kHuge = 1e18F;  // below 2^62: products of 64 bits hold
  const auto weight1_real = static_cast<float>(weight1);
  const auto weight2_real = static_cast<float>(weight2);
  float about[kMostRows];
  int32_t bits[kMostRows];
  for (int j = 0; j < size; j++) {
    const int32_t e1 = step1 - codebook[j].first;
    const auto e1_real = static_cast<float>(e1);
    const auto e2_real = static_cast<float>(e1 + (step2 - codebook[j].second));
    about[j] = e1_real * e1_real * weight1_real + e2_real * e2_real * weight2_real;
  }
  // Numbers of one sign have the order of their bits.
  std::memcpy(bits, about, static_cast<size_t>(size) * sizeof *bits);
  int32_t least_bits = std::numeric_limits<int32_t>::max();
  for (int j = 0; j < size; j++) least_bits = bits[j] < least_bits ? bits[j] : least_bits;
  float least = 0;
  std::memcpy(&least, &least_bits, sizeof least);
  float bar = least * (1.0F + 1.0F / (1 << 18)) + (1 << 17);
  if (weight1 < 0 || weight2 < 0) bar = std::numeric_limits<float>::infinity();
  uint8_t worthy[kMostRows];
  for (int j = 0; j < size; j++) worthy[j] = ((about[j] <= bar) | (about[j] > kHuge)) ? 1 : 0;

  int64_t best = std::numeric_limits<int64_t>::max();
  uint32_t best_row = 0;
  for (int block = 0; block < size; block += 8) {
    uint64_t any = 0;
    std::memcpy(&any, worthy + block, sizeof any);
    for (int j = block; any != 0 && j < block + 8; j++) {
      if (worthy[j] == 0) continue;
      const int64_t distortion =
          kelp::split_distortion(codebook[j], step1, step2, weight1, weight2);
      if (distortion >= best) continue;
      best = distortion;
      best_row = static_cast<uint32_t>(j);
    }
  }
  return best_row;
}

void filter_codebook(const int16_t *codebook, const int32_t *h, int first,
                     filtered_codebook *filtered) {
  constexpr int kVectors = kCodebook / kWords;
  for (int i = 0; i < kCodebook && first == 0; i++) filtered->energy[i] = 0;
  for (int r = 0; r < filtered_codebook::kSamples; r++) {
    const int k = first + r;
    const bool responds = k < kImpulseResponse;
    const words tap = lanes::splat(responds ? h[k] : 0);
    const int32_t *const before = filtered->y[(r + 9) % 10];
    const words wrapped = k == 0 ? lanes::splat(0) : lanes::load(before);
    words next = wrapped;
    for (int i = 0; i < kVectors; i++) {
      const words current = next;
      words y = lanes::splat(0);
      if (k > 0) {
        next = i + 1 < kVectors ? lanes::load(before + (i + 1) * kWords) : wrapped;
        y = lanes::shift_down(current, next);
      }
      if (responds) {
        const words half = lanes::load16(codebook + i * kWords);
        y = lanes::add(y, lanes::product14(lanes::add(half, half), tap));
      }
      lanes::store(filtered->y[r] + i * kWords, y);
      int32_t *const energy = filtered->energy + i * kWords;
      lanes::store(energy, lanes::add(lanes::load(energy), lanes::product14(y, y)));
    }
  }
  for (int i = 0; i < kCodebook; i++) {
    filtered->inverse[i] = 1.0F / static_cast<float>(filtered->energy[i]);
  }
}

void correlate_codebook(const filtered_codebook &filtered, const int32_t *target, int32_t *exy) {
  for (int i = 0; i < kCodebook; i += kWords) {
    words sum = lanes::load(exy + i);
    for (int k = 0; k < filtered_codebook::kSamples; k++) {
      const words y = lanes::load(filtered.y[k] + i);
      sum = lanes::add(sum, lanes::product14(y, lanes::splat(target[k])));
    }
    lanes::store(exy + i, sum);
  }
}

// With real numbers a candidate gains exy * exy / eyy over no candidate; truncation of the energy
// term can add eyy / 2^16 and little more. So one candidate's true score rules out most of the
// others unseen. Where a word may wrap, which tiny or huge energies can bring about, nothing is
// ruled out.
kelp::codebook_choice choose_candidate(const filtered_codebook &filtered, const int32_t *exy) {
  constexpr float kRoundings = 1.0F + 1.0F / (1 << 18);
  constexpr float kHuge = 1e13F;  // below 2^46: products of 64 bits hold
  constexpr float kNotRuledOut = std::numeric_limits<float>::infinity();
  constexpr float kLargestGain = 16000;  // half of it where the gain's word would wrap
  float most[kCodebook];                 // the most that a candidate can gain
  for (int i = 0; i < kCodebook; i++) {
    const auto correlation = static_cast<float>(exy[i]);
    const float gain = correlation * filtered.inverse[i];
    const float gained = correlation * gain;
    const float slack = static_cast<float>(filtered.energy[i]) * (1.0F / 65536) + 4;
    float sound = gained * kRoundings + slack;
    sound = filtered.energy[i] > 0 ? sound : kNotRuledOut;
    sound = gain < kLargestGain ? sound : kNotRuledOut;
    sound = gain > -kLargestGain ? sound : kNotRuledOut;
    most[i] = gained < kHuge ? sound : kNotRuledOut;
  }
  // The bits of positive numbers, as integers, have their order; the last seven make room for the
  // candidate's place.
  int32_t highest = 0;
  for (int i = 0; i < kCodebook; i++) {
    const int32_t numbered = (__builtin_bit_cast(int32_t, most[i]) & ~(kCodebook - 1)) | i;
    highest = numbered > highest ? numbered : highest;
  }
  const int likeliest = highest & (kCodebook - 1);
  const auto score = [&](int place) {
    return kelp::score_candidate(exy[place], filtered.energy[place]);
  };
  const auto bar = -static_cast<float>(score(likeliest).error) * (1.0F - 1.0F / (1 << 18));
  uint8_t worthy[kCodebook];
  for (int i = 0; i < kCodebook; i++) worthy[i] = most[i] >= bar ? 1 : 0;

  kelp::codebook_choice best = {};
  int64_t best_error = kelp::kLargestError;
  const auto consider = [&](int place) {
    const kelp::candidate_score current = score(place);
    if (current.error >= best_error) return;
    best_error = current.error;
    best = {current.gain_q16, -place & (kCodebook - 1)};
  };
  if (worthy[0] != 0) consider(0);
  for (int block = kCodebook - 8; block >= 0; block -= 8) {  // in the order of the numbers
    uint64_t any = 0;
    std::memcpy(&any, worthy + block, 8);
    for (int place = block + 7; any != 0 && place >= block; place--) {
      if (place > 0 && worthy[place] != 0) consider(place);
    }
  }
  return best;
}

}  // namespace
