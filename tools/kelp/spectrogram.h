// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
#ifndef KELP_TOOLS_KELP_SPECTROGRAM_H
#define KELP_TOOLS_KELP_SPECTROGRAM_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

// Level over time and frequency as shades: 0 for what is kRange_db below `top_db` or weaker, 255
// for `top_db` or more. Rows run from 4000 Hz down to 0, all columns of a row together.
struct Spectrogram {
  static constexpr double kRange_db = 70;
  static constexpr size_t kRows = 129;

  size_t columns = 0;
  double top_db = 0;  // a multiple of 5; a sine at full scale has 0 dB
  std::vector<uint8_t> shades;
};

// `columns` of equal duration over all of `speech`, which is not empty.
[[nodiscard]] Spectrogram make_spectrogram(std::span<const int16_t> speech, size_t columns);

// A PNG file of it, in grey.
[[nodiscard]] std::vector<uint8_t> png_file(const Spectrogram &picture);

#endif  // KELP_TOOLS_KELP_SPECTROGRAM_H
