// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include <algorithm>
#include <cmath>
#include <utility>

#include "fuzz/fuzzing.h"

namespace kelp_fuzz {
namespace {

constexpr int kFullScale = 32767;

int16_t clipped(double sample) {
  return static_cast<int16_t>(std::lround(std::clamp(sample, -32768.0, 32767.0)));
}

}  // namespace

frame signal_source::next(input *in) {
  constexpr int kKinds = 12;
  const uint32_t kind = in->below(kKinds);
  if (kind == 0) {  // what the input brings
    const packet bytes = in->bytes(2 * KELP_FRAME_SAMPLES);
    std::memcpy(last_.data(), bytes.data(), bytes.size());
  }
  const uint8_t parameter = in->byte();
  const int level = kFullScale >> parameter % 16;
  const int period = 1 + parameter / 2;
  for (int16_t &sample : last_) {
    const int t = time_++;
    const int noise = random_.between(-32768, 32767);
    switch (kind) {
      case 0:
      case 1: break;  // the last frame once more
      case 2: sample = 0; break;
      case 3: sample = static_cast<int16_t>(parameter % 2 ? -level - 1 : level); break;
      case 4: sample = static_cast<int16_t>(t / period % 2 ? -32768 : 32767); break;
      case 5: sample = static_cast<int16_t>(noise >> parameter % 16); break;
      case 6: sample = static_cast<int16_t>(noise < 0 ? -level - 1 : level); break;
      case 7: sample = static_cast<int16_t>(t % (8 * period + 15) ? 0 : 32767); break;
      case 8: sample = static_cast<int16_t>(t % period ? 3 : -32768); break;
      case 9: sample = static_cast<int16_t>(t * period % 65536 - 32768); break;
      case 10: sample = clipped(level * std::sin(t * period * 3.14159 / 128)); break;
      default: {  // voiced speech: pulses through a resonance
        const double pulse = t % (20 + period) ? noise / 3277.0 : 8.0 * level;
        const double out = pulse + 1.7 * voice_[0] - 0.9 * voice_[1];
        voice_[1] = std::exchange(voice_[0], out);
        sample = clipped(out / 8);
      }
    }
  }
  return last_;
}

}  // namespace kelp_fuzz
