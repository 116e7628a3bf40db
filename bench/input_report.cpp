// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// Which recordings suit the codec: the recorded speech of the tests at many levels, and with ever
// less of its band.
//
//   kelp_input_report
//
// docs/INPUT.md says what the figures mean.

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <numbers>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "tests/recordings.h"
#include "tools/kelp/band_fill.h"
#include "tools/kelp/packet_check.h"
#include "tools/kelp/rates.h"
#include "tools/kelp/recording_reader.h"
#include "tools/kelp/speech_level.h"
#include "tools/quality/codec.h"
#include "tools/quality/quality.h"

using namespace kelp::quality;

namespace {

using wide_samples = std::vector<double>;

struct figures {
  double snr_db = 0;
  double distance_db = 0;
  size_t active = 0;
  size_t packets = 0;
  size_t unusable = 0;
};

pcm_samples rounded(const wide_samples &samples) {
  pcm_samples pcm(samples.size());
  round_to_pcm(samples, pcm);
  return pcm;
}

wide_samples scaled(wide_samples samples, double gain) {
  for (double &sample : samples) sample *= gain;
  return samples;
}

double ratio(double db) {
  return std::pow(10, db / 20);
}

size_t count_unusable(const std::vector<packet> &packets) {
  return static_cast<size_t>(std::count_if(packets.begin(), packets.end(), [](const packet &bytes) {
    Packet one;
    std::copy(bytes.begin(), bytes.end(), one.bytes.begin());
    one.length = static_cast<int32_t>(bytes.size());
    return !is_usable(one);
  }));
}

// What became of `reference` when `sent` went through the codec, seen at the reference's level.
void add_figures(const wide_samples &reference, const wide_samples &sent, double sent_gain,
                 figures *sum) {
  const std::vector<packet> packets = encode(rounded(sent));
  const pcm_samples decoded = decode(packets);
  const wide_samples expected = coded_speech(rounded(reference));
  const wide_samples seen = scaled(wide_samples(decoded.begin(), decoded.end()), 1 / sent_gain);
  const score snr = segmental_snr(expected, seen);
  sum->snr_db += snr.db * static_cast<double>(snr.active);
  sum->distance_db += log_spectral_distance(expected, seen).db * static_cast<double>(snr.active);
  sum->active += snr.active;
  sum->packets += packets.size();
  sum->unusable += count_unusable(packets);
}

void print_figures(const figures &sum) {
  const auto active = static_cast<double>(sum.active);
  std::printf("  %6.2f dB   %6.2f dB   %5zu (%.2f %%)", sum.snr_db / active,
              sum.distance_db / active, sum.unusable,
              100 * static_cast<double>(sum.unusable) / static_cast<double>(sum.packets));
}

double active_dbov(const wide_samples &samples) {
  SpeechLevel level;
  level.add(samples);
  return level.active_dbov();
}

// Share of the frames that are above kOverload_dbov once they are samples of 16 bits.
double overloaded_percent(const std::vector<wide_samples> &speech) {
  size_t frames = 0;
  size_t above = 0;
  for (const wide_samples &one : speech) {
    const pcm_samples pcm = rounded(one);
    for (size_t at = 0; at + kFrame <= pcm.size(); at += kFrame, frames++) {
      if (level_dbov(std::span(pcm).subspan(at, kFrame)) > kOverload_dbov) above++;
    }
  }
  return 100 * static_cast<double>(above) / static_cast<double>(frames);
}

void print_levels(const std::vector<wide_samples> &speech) {
  std::printf(
      "Active speech at      segmental   spectral      unusable         frames above\n"
      "                            SNR   distance       packets             %.0f dBov\n",
      kOverload_dbov);
  for (const double target : {-60.0, -54.0, -48.0, -42.0, -39.0, -36.0, -33.0, -30.0, -28.0, -26.0,
                              -24.0, -22.0, -20.0, -18.0, -16.0, -14.0, -12.0, -9.0, -6.0}) {
    figures sum;
    std::vector<wide_samples> sent;
    for (const wide_samples &one : speech) {
      // Both at the level of -26 dBov where they are compared: the distance depends on it.
      const double level = active_dbov(one);
      sent.push_back(scaled(one, ratio(target - level)));
      add_figures(scaled(one, ratio(-26 - level)), sent.back(), ratio(target + 26), &sum);
    }
    std::printf("  %5.0f dBov       ", target);
    print_figures(sum);
    std::printf("     %6.2f %%\n", overloaded_percent(sent));
  }
}

// A steep low-pass filter: 401 taps, 74 dB down beyond.
wide_samples low_passed(const wide_samples &samples, double hz) {
  constexpr std::ptrdiff_t kHalf = 200;
  wide_samples taps(2 * kHalf + 1);
  for (std::ptrdiff_t k = -kHalf; k <= kHalf; k++) {
    const double turn = std::numbers::pi * static_cast<double>(k) / kHalf;
    const double cycles = hz / (kSampleRate_hz / 2);
    const double x = std::numbers::pi * static_cast<double>(k) * cycles;
    const double blackman = 0.42 + 0.5 * std::cos(turn) + 0.08 * std::cos(2 * turn);
    taps[static_cast<size_t>(k + kHalf)] = blackman * cycles * (k == 0 ? 1 : std::sin(x) / x);
  }
  wide_samples result(samples.size());
  const auto size = static_cast<std::ptrdiff_t>(samples.size());
  for (std::ptrdiff_t n = 0; n < size; n++) {
    const std::ptrdiff_t from = std::max<std::ptrdiff_t>(n - kHalf, 0);
    for (std::ptrdiff_t m = from; m <= std::min(n + kHalf, size - 1); m++) {
      result[static_cast<size_t>(n)] +=
          taps[static_cast<size_t>(n - m + kHalf)] * samples[static_cast<size_t>(m)];
    }
  }
  return result;
}

// As it is, or with noise so far below it.
figures band_figures(const std::vector<wide_samples> &speech,
                     std::optional<double> below_speech_db) {
  figures sum;
  for (const wide_samples &one : speech) {
    wide_samples sent = one;
    if (below_speech_db) BandFill(*below_speech_db).add_to(sent);
    add_figures(one, sent, 1, &sum);
  }
  return sum;
}

void print_bands(const std::vector<wide_samples> &speech) {
  std::printf(
      "\n                        as it is                              "
      "noise at -%.0f dB\n"
      "Band up to       SNR    distance       unusable             SNR    distance       "
      "unusable\n",
      BandFill::kBelowSpeech_db);
  std::vector<wide_samples> narrow;
  const auto print = [&](const char *band) {
    std::printf("  %-7s", band);
    print_figures(band_figures(narrow, {}));
    print_figures(band_figures(narrow, BandFill::kBelowSpeech_db));
    std::printf("\n");
  };
  narrow = speech;
  print("4000 Hz");
  for (const int hz : {3400, 3000, 2800, 2600, 2400, 2200, 2000, 1800}) {
    narrow.clear();
    for (const wide_samples &one : speech) narrow.push_back(low_passed(one, hz));
    print((std::to_string(hz) + " Hz").c_str());
  }

  std::printf("\nNoise below speech limited to 2600 Hz by\n");
  narrow.clear();
  for (const wide_samples &one : speech) narrow.push_back(low_passed(one, 2600));
  for (const double below : {60.0, 55.0, 50.0, 45.0, 40.0, 35.0, 30.0}) {
    std::printf("  %4.0f dB ", below);
    print_figures(band_figures(narrow, below));
    std::printf("\n");
  }
}

}  // namespace

int main() {
  std::vector<wide_samples> speech;
  for (const kelp_test::recording &one : kelp_test::require_recordings()) {
    speech.emplace_back(one.pcm.begin(), one.pcm.end());
  }
  print_levels(speech);
  print_bands(speech);
  return 0;
}
