// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "tools/kelp/spectrogram.h"

#include <algorithm>
#include <cmath>
#include <png.h>
#include <string>

#include "tools/kelp/failure.h"
#include "tools/quality/quality.h"

namespace {

using kelp::quality::kBins;
using kelp::quality::kWindow;
using kelp::quality::power_spectrum;
static_assert(Spectrogram::kRows == kBins);

constexpr size_t kLongestStep = kWindow / 2;  // between windows, samples

// Mean power over the windows that are centred in columns `first` and the one after it.
std::pair<power_spectrum, power_spectrum> column_pair(std::span<const int16_t> padded,
                                                      size_t columns, size_t first) {
  const double step = static_cast<double>(padded.size() - kWindow) / static_cast<double>(columns);
  const auto windows = static_cast<size_t>(std::ceil(step / kLongestStep));
  std::pair<power_spectrum, power_spectrum> mean = {};
  for (size_t w = 0; w < windows; w++) {
    const double within = (static_cast<double>(w) + 0.5) / static_cast<double>(windows);
    const auto from = [&](size_t column) {
      const auto at = static_cast<size_t>((static_cast<double>(column) + within) * step);
      return padded.subspan(std::min(at, padded.size()));
    };
    const auto [one, two] = kelp::quality::power_spectra(from(first), from(first + 1), 0);
    for (size_t bin = 0; bin < kBins; bin++) {
      mean.first[bin] += one[bin] / static_cast<double>(windows);
      mean.second[bin] += two[bin] / static_cast<double>(windows);
    }
  }
  return mean;
}

double level_db(double power) {
  constexpr double kLeast = 1e-12;
  return 10 * std::log10(std::max(power / kelp::quality::kFullScaleSine, kLeast));
}

// What one place in a thousand is louder than: a click shall not make speech pale.
double loud_db(std::vector<double> levels) {
  const auto place = levels.end() - 1 - static_cast<std::ptrdiff_t>(levels.size() / 1000);
  std::nth_element(levels.begin(), place, levels.end());
  return *place;
}

}  // namespace

Spectrogram make_spectrogram(std::span<const int16_t> speech, size_t columns) {
  // Half a window of silence on both sides, so that windows may be centred at the ends.
  std::vector<int16_t> padded(speech.size() + kWindow);
  std::copy(speech.begin(), speech.end(), padded.begin() + kWindow / 2);

  std::vector<double> levels(columns * kBins);
  for (size_t column = 0; column < columns; column += 2) {
    const auto pair = column_pair(padded, columns, column);
    for (size_t side = 0; side < 2 && column + side < columns; side++) {
      const power_spectrum &power = side == 0 ? pair.first : pair.second;
      for (size_t bin = 0; bin < kBins; bin++) {
        levels[(kBins - 1 - bin) * columns + column + side] = level_db(power[bin]);
      }
    }
  }

  Spectrogram picture;
  picture.columns = columns;
  picture.top_db = 5 * std::ceil(loud_db(levels) / 5);
  picture.shades.reserve(levels.size());
  const double bottom = picture.top_db - Spectrogram::kRange_db;
  for (const double level : levels) {
    const double height = std::clamp((level - bottom) / Spectrogram::kRange_db, 0.0, 1.0);
    // Few shades make a small file; more could not be told apart.
    constexpr double kShades = 51;
    picture.shades.push_back(static_cast<uint8_t>(std::lround(height * kShades) * 5));
  }
  return picture;
}

std::vector<uint8_t> png_file(const Spectrogram &picture) {
  png_image image = {};
  image.version = PNG_IMAGE_VERSION;
  image.format = PNG_FORMAT_GRAY;
  image.width = static_cast<png_uint_32>(picture.columns);
  image.height = Spectrogram::kRows;
  std::vector<uint8_t> file(PNG_IMAGE_PNG_SIZE_MAX(image));
  png_alloc_size_t size = file.size();
  if (png_image_write_to_memory(&image, file.data(), &size, 0, picture.shades.data(), 0, nullptr) ==
      0) {
    throw Failure(std::string("the spectrogram cannot be made: ") + image.message);
  }
  file.resize(size);
  return file;
}
