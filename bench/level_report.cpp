// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// How loud speech comes out, and what becomes of steady sounds. The figures of docs/LIMITS.md.

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <numbers>
#include <span>
#include <vector>

#include "kelp.h"
#include "tests/recordings.h"
#include "tools/quality/codec.h"
#include "tools/quality/quality.h"

namespace {

using kelp::quality::packet;
using kelp::quality::pcm_samples;

double percent(size_t part, size_t whole) {
  return 100.0 * static_cast<double>(part) / static_cast<double>(whole);
}

bool is_full(const packet &bytes) {
  return bytes[0] == KELP_RATE_FULL;
}

int16_t to_pcm(double sample) {
  return static_cast<int16_t>(std::lrint(std::clamp(sample, -32768.0, 32767.0)));
}

// Power over that of a square wave at full scale, of the frames that hold speech.
template <class Samples>
double active_power(const Samples &samples, const std::vector<bool> &active, size_t late) {
  double sum = 0;
  size_t count = 0;
  for (size_t n = 0; n + late < samples.size(); n++) {
    const size_t frame = n / KELP_FRAME_SAMPLES;
    if (frame >= active.size() || !active[frame]) continue;
    sum += std::pow(samples[n + late] / 32768.0, 2);
    count++;
  }
  return sum / static_cast<double>(count);
}

void report_level(const std::vector<kelp_test::recording> &speech) {
  double in = 0, coded = 0, out = 0;
  std::printf(
      "Level of active speech, over that of the input\n  what the encoder codes, decoded\n");
  for (const kelp_test::recording &one : speech) {
    const std::vector<bool> active = kelp::quality::active_frames(one.pcm);
    const double power = active_power(one.pcm, active, 0);
    const double inside =
        active_power(kelp::quality::coded_speech(one.pcm), active, KELP_LOOKAHEAD_SAMPLES);
    const pcm_samples decoded = kelp::quality::decode(kelp::quality::encode(one.pcm));
    const double heard = active_power(decoded, active, KELP_LOOKAHEAD_SAMPLES);
    std::printf("  %.3f  %.3f  %s\n", std::sqrt(inside / power), std::sqrt(heard / power),
                one.path.c_str());
    in += power;
    coded += inside;
    out += heard;
  }
  std::printf("  %.3f  %.3f  all\n", std::sqrt(coded / in), std::sqrt(out / in));
}

// Ten seconds of a sound that does not change, at -24 dBov, with which a stream begins, or which
// follows a second of silence: how much of it is sent as speech, and how loud its second half is.
template <class Wave>
void report_steady(const char *name, double rms, Wave wave) {
  constexpr size_t kSound = 10 * KELP_SAMPLE_RATE_HZ;
  std::printf("  %-24s", name);
  for (const size_t silence : {size_t{0}, size_t{KELP_SAMPLE_RATE_HZ}}) {
    const double gain = 32768 * std::pow(10, -24 / 20.0) / rms;
    pcm_samples pcm(silence);
    for (size_t n = 0; n < kSound; n++) pcm.push_back(to_pcm(gain * wave(static_cast<double>(n))));
    const std::vector<packet> sent = kelp::quality::encode(pcm);
    const pcm_samples heard = kelp::quality::decode(sent);
    double in = 0, out = 0;
    for (size_t n = silence + kSound / 2; n < heard.size(); n++) {
      in += std::pow(pcm[n], 2);
      out += std::pow(heard[n], 2);
    }
    const auto sound = std::span(sent).subspan(silence / KELP_FRAME_SAMPLES);
    const auto full = static_cast<size_t>(std::ranges::count_if(sound, is_full));
    std::printf("  %5.1f %%  %5.1f dB", percent(full, sound.size()), 10 * std::log10(out / in));
  }
  std::printf("\n");
}

void report_steady_sounds() {
  const auto tone = [](double hertz) {
    return [=](double n) { return std::sin(2 * std::numbers::pi * hertz * n / 8000); };
  };
  std::printf(
      "\nSteady sounds: sent as speech, level out over that in, when a stream begins with them; "
      "the same after a second of silence\n");
  report_steady("tone of 440 Hz", std::sqrt(0.5), tone(440));
  report_steady("tone of 1000 Hz", std::sqrt(0.5), tone(1000));
  report_steady("tones of 770 and 1336 Hz", 1,
                [&](double n) { return tone(770)(n) + tone(1336)(n); });
  uint32_t random = 1;  // a fixed sequence: the same figures everywhere
  report_steady("white noise", std::sqrt(1 / 3.0), [&](double /*n*/) {
    random = random * 1664525 + 1013904223;
    return static_cast<double>(random) / 2147483648.0 - 1;
  });
}

}  // namespace

int main() {
  const std::vector<kelp_test::recording> speech = kelp_test::require_recordings();
  report_level(speech);
  report_steady_sounds();
}
