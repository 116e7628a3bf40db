// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// What lost packets do to the recorded speech of the tests:
//
//   kelp_loss_report
//
// The same figures on every machine; tools/quality/loss.h says what is measured, docs/LOSS.md what
// it means.

#include <algorithm>
#include <cstdio>
#include <iostream>
#include <string>
#include <vector>

#include "tests/recordings.h"
#include "tools/quality/loss.h"

using namespace kelp::quality;

namespace {

constexpr unsigned kSeeds = 8;
constexpr size_t kFadingBurst = 20;

void print_speech(const std::vector<sent_speech> &speech) {
  size_t frames = 0;
  std::ptrdiff_t active = 0;
  for (const sent_speech &one : speech) {
    frames += one.packets.size();
    active += std::count(one.active.begin(), one.active.end(), true);
  }
  std::printf("%zu recordings, %zu frames of 20 ms, %td of them active\n", speech.size(), frames,
              active);
}

void print_random_loss(const std::vector<sent_speech> &speech) {
  std::printf(
      "\nRandom loss, mean of %u seeds\n\n"
      "   asked    lost   segmental SNR   spectral distance\n",
      kSeeds);
  for (const double percent : {0.0, 1.0, 3.0, 5.0, 10.0, 20.0}) {
    const random_loss loss = measure_random_loss(speech, percent, percent == 0 ? 1 : kSeeds);
    std::printf("  %4.0f %%  %5.2f %%     %6.2f dB          %6.2f dB\n", percent, loss.lost_percent,
                loss.snr_db, loss.distance_db);
  }
}

void print_bursts(const std::vector<burst_loss> &losses) {
  std::printf(
      "\nBursts in active speech\n\n"
      "                 segmental SNR    spectral distance   distance of the      frames to\n"
      "                of lost frames       of lost frames   100 ms after it        recover\n"
      "  lost  bursts    lost   clean       lost     clean        from clean  median  worst\n");
  for (const burst_loss &loss : losses) {
    std::printf("  %4zu  %6zu   %5.2f   %5.2f      %5.2f     %5.2f             %5.2f  %6zu  %5zu\n",
                loss.level_dbov.size(), loss.bursts, loss.snr_db, loss.clean_snr_db,
                loss.distance_db, loss.clean_distance_db, loss.after_distance_db,
                loss.recovery_median, loss.recovery_worst);
  }
}

// However long a burst is, it starts alike.
void print_jumps(const std::vector<burst_loss> &losses) {
  std::printf(
      "\nLargest jump from sample to sample in the first 5 ms\n\n"
      "            lost   clean  of %zu bursts above clean  by at most\n",
      losses[0].bursts);
  const auto print = [](const jump_count &jump) {
    std::printf("%6d  %6d  %25zu  %10d\n", jump.largest, jump.largest_clean, jump.larger,
                jump.excess);
  };
  std::printf("  start   ");
  print(losses[0].start);
  for (const burst_loss &loss : losses) {
    std::printf("  end, %2zu ", loss.level_dbov.size());
    print(loss.end);
  }
}

void print_fading(const burst_loss &loss) {
  constexpr double kLeast_dbov = -90;
  std::printf("\nLevel of each lost frame of %zu in a row, mean of %zu bursts\n\n",
              loss.level_dbov.size(), loss.bursts);
  for (size_t k = 0; k < loss.level_dbov.size(); k++) {
    const double level = loss.level_dbov[k];
    const auto width = static_cast<size_t>(std::max(level - kLeast_dbov, 0.0));
    std::printf("  %4zu  %6.1f dBov  %s\n", k + 1, level, std::string(width, '#').c_str());
  }
  std::printf("\n  settles at %.1f dBov after %zu frames\n", loss.level_dbov.back(),
              loss.fading_frames());
}

}  // namespace

int main(int argc, char ** /*argv*/) {
  if (argc != 1) {
    std::cerr << "usage: kelp_loss_report\n";
    return 2;
  }
  std::vector<sent_speech> speech;
  for (const kelp_test::recording &one : kelp_test::require_recordings())
    speech.emplace_back(one.pcm);
  print_speech(speech);
  print_random_loss(speech);
  std::vector<burst_loss> losses;
  for (size_t length = 1; length <= 10; length++) losses.push_back(measure_bursts(speech, length));
  print_bursts(losses);
  print_jumps(losses);
  print_fading(measure_bursts(speech, kFadingBurst));
  return 0;
}
