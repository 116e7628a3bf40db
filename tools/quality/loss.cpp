// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "tools/quality/loss.h"

#include <algorithm>
#include <cstdlib>
#include <random>

#include "tools/quality/quality.h"

namespace kelp::quality {
namespace {

constexpr size_t kEvery = 25;  // frames from one place for a burst to the next ..
constexpr size_t kPasses = 4;  // .. of which every fourth is decoded together
constexpr size_t kPeace = 80;  // frames received after a burst
constexpr size_t kRoom = 10;   // active frames that every burst could have, whatever its length
constexpr size_t kAfter = 5;   // frames
constexpr size_t kAtEnd = 40;  // samples
constexpr double kRecovered_db = 20;

std::vector<size_t> burst_starts(const sent_speech &speech, size_t pass, size_t length) {
  const size_t room = std::max(length, kRoom);
  std::vector<size_t> starts;
  for (size_t at = kEvery * (pass + 1); at + room + kPeace <= speech.packets.size();
       at += kEvery * kPasses) {
    const auto before = speech.active.begin() + static_cast<std::ptrdiff_t>(at) - 1;
    const auto end = before + static_cast<std::ptrdiff_t>(room) + 2;
    if (std::find(before, end, false) == end) starts.push_back(at);
  }
  return starts;
}

int largest_jump(const pcm_samples &pcm, size_t first, size_t count) {
  int largest = 0;
  for (size_t n = first; n < first + count; n++)
    largest = std::max(largest, std::abs(pcm[n] - pcm[n - 1]));
  return largest;
}

void count_jump(const pcm_samples &decoded, const pcm_samples &clean, size_t at,
                jump_count *count) {
  const int jump = largest_jump(decoded, at, kAtEnd);
  const int clean_jump = largest_jump(clean, at - kFrame, 2 * kFrame);
  count->largest = std::max(count->largest, jump);
  count->largest_clean = std::max(count->largest_clean, clean_jump);
  count->excess = std::max(count->excess, jump - clean_jump);
  count->larger += jump > clean_jump ? 1 : 0;
}

// Sums of what becomes means.
void add_burst(const sent_speech &speech, const pcm_samples &decoded, size_t start,
               burst_loss *sum) {
  const size_t length = sum->level_dbov.size();
  const std::span<const int16_t> pcm = decoded;
  for (size_t k = start; k < start + length; k++) {
    sum->level_dbov[k - start] += level_dbov(pcm.subspan(k * kFrame, kFrame));
    sum->snr_db += frame_snr(speech.coded, decoded, k);
    sum->distance_db += frame_distance(speech.coded, decoded, k);
    sum->clean_snr_db += frame_snr(speech.coded, speech.clean, k);
    sum->clean_distance_db += frame_distance(speech.coded, speech.clean, k);
  }
  const size_t next = start + length;
  for (size_t k = next; k < next + kAfter; k++)
    sum->after_distance_db += frame_distance(speech.clean, decoded, k);
  count_jump(decoded, speech.clean, start * kFrame, &sum->start);
  count_jump(decoded, speech.clean, next * kFrame, &sum->end);
  sum->bursts++;
}

size_t recovery(const sent_speech &speech, const pcm_samples &decoded, size_t next) {
  size_t frames = kPeace;
  while (frames > 0 && frame_snr(speech.clean, decoded, next + frames - 1) >= kRecovered_db)
    frames--;
  return frames;
}

}  // namespace

sent_speech::sent_speech(std::span<const int16_t> pcm)
    : packets(encode(pcm)),
      coded(coded_speech(pcm)),
      clean(decode(packets)),
      active(active_frames(coded)) {}

random_loss measure_random_loss(const std::vector<sent_speech> &speech, double percent,
                                unsigned seeds) {
  constexpr double k2To32 = 4294967296.0;  // the generator's numbers lie below it
  random_loss result;
  double packets = 0;
  double frames = 0;
  for (unsigned seed = 1; seed <= seeds; seed++) {
    std::mt19937 random(seed);
    for (const sent_speech &one : speech) {
      std::vector<bool> lost;
      for (size_t k = 0; k < one.packets.size(); k++) {
        lost.push_back(static_cast<double>(random()) < percent / 100 * k2To32);
        result.lost_percent += lost.back() ? 100 : 0;
      }
      packets += static_cast<double>(lost.size());
      const pcm_samples decoded = decode(one.packets, lost);
      const score snr = segmental_snr(one.coded, decoded);
      const auto active = static_cast<double>(snr.active);
      result.snr_db += snr.db * active;
      result.distance_db += log_spectral_distance(one.coded, decoded).db * active;
      frames += active;
    }
  }
  return {result.lost_percent / packets, result.snr_db / frames, result.distance_db / frames};
}

burst_loss measure_bursts(const std::vector<sent_speech> &speech, size_t length) {
  burst_loss result;
  result.level_dbov.resize(length);
  std::vector<size_t> recoveries;
  for (const sent_speech &one : speech) {
    for (size_t pass = 0; pass < kPasses; pass++) {
      const std::vector<size_t> starts = burst_starts(one, pass, length);
      std::vector<bool> lost(one.packets.size());
      for (const size_t start : starts)
        for (size_t k = start; k < start + length; k++) lost[k] = true;
      const pcm_samples decoded = decode(one.packets, lost);
      for (const size_t start : starts) {
        add_burst(one, decoded, start, &result);
        recoveries.push_back(recovery(one, decoded, start + length));
      }
    }
  }
  if (result.bursts == 0) return result;

  const auto bursts = static_cast<double>(result.bursts);
  const double frames = bursts * static_cast<double>(length);
  for (double &level : result.level_dbov) level /= bursts;
  for (double *sum :
       {&result.snr_db, &result.distance_db, &result.clean_snr_db, &result.clean_distance_db})
    *sum /= frames;
  result.after_distance_db /= bursts * kAfter;
  std::sort(recoveries.begin(), recoveries.end());
  result.recovery_median = recoveries[recoveries.size() / 2];
  result.recovery_worst = recoveries.back();
  return result;
}

size_t burst_loss::fading_frames() const {
  size_t frames = level_dbov.size();
  while (frames > 0 && std::abs(level_dbov[frames - 1] - level_dbov.back()) <= 1) frames--;
  return frames;
}

}  // namespace kelp::quality
