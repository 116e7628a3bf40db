// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// What lost packets do to decoded speech, over recordings that are encoded once and decoded with
// erasures in place of the lost packets.
#ifndef KELP_TOOLS_QUALITY_LOSS_H
#define KELP_TOOLS_QUALITY_LOSS_H

#include <cstddef>
#include <span>
#include <vector>

#include "tools/quality/codec.h"

namespace kelp::quality {

// A recording ready to be decoded with losses.
struct sent_speech {
  explicit sent_speech(std::span<const int16_t> pcm);

  std::vector<packet> packets;
  std::vector<double> coded;  // what the encoder codes
  pcm_samples clean;          // decoded without loss
  std::vector<bool> active;   // frames of `coded` that hold speech
};

// Losses that fall on every packet alike, drawn with seeds 1 to `seeds`. With one seed, what is
// lost at a lower rate is lost at a higher one too. Means over active frames, against the coded
// speech.
struct random_loss {
  double lost_percent = 0;  // as drawn
  double snr_db = 0;
  double distance_db = 0;
};
random_loss measure_random_loss(const std::vector<sent_speech> &speech, double percent,
                                unsigned seeds);

// A jump is a step from one sample to the next. At an end of a burst it is the largest in the 5 ms
// that begin with the step across; the speech decoded without loss has its own within 20 ms.
struct jump_count {
  int largest = 0;
  int largest_clean = 0;
  size_t larger = 0;  // bursts whose jump is above what the loss-free speech has there ..
  int excess = 0;     // .. and by how much at most
};

// Bursts of one length, up to 20. Every 25th frame is a place for one, where it, the one before and
// the next 10 (as many as are lost, if more) are active. Bursts are decoded together that begin 100
// frames apart, so that 80 frames or more are received after each.
struct burst_loss {
  size_t bursts = 0;
  std::vector<double> level_dbov;                  // of each lost frame in turn
  double snr_db = 0, distance_db = 0;              // lost frames, against the coded speech
  double clean_snr_db = 0, clean_distance_db = 0;  // the same frames without loss
  double after_distance_db = 0;                    // the next 5, against decoding without loss
  jump_count start, end;
  // Frames after the burst until none is below 20 dB of SNR against decoding without loss.
  size_t recovery_median = 0, recovery_worst = 0;

  // Lost frames until the level stays within 1 dB of where it ends.
  [[nodiscard]] size_t fading_frames() const;
};
burst_loss measure_bursts(const std::vector<sent_speech> &speech, size_t length);

}  // namespace kelp::quality

#endif  // KELP_TOOLS_QUALITY_LOSS_H
