// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "tools/kelp/encode_options.h"

#include <CLI/CLI.hpp>
#include <cmath>

namespace {

// Beyond this everything is silence or noise.
constexpr double kMostGain_db = 80;

std::optional<double> parse_gain(const std::string &text) {
  if (text == "auto") return {};
  double gain_db = 0;
  if (!CLI::detail::lexical_cast(text, gain_db) || !(std::abs(gain_db) <= kMostGain_db)) {
    throw CLI::ValidationError("--gain", "give auto, or dB from -80 to 80, not '" + text + "'");
  }
  return gain_db;
}

Channel parse_channel(const std::string &text) {
  if (text == "left") return Channel::left;
  if (text == "right") return Channel::right;
  if (text == "mix") return Channel::mix;
  throw CLI::ValidationError("--channel", "give left, right or mix, not '" + text + "'");
}

}  // namespace

void add_encode_options(CLI::App &command, EncodeOptions &options) {
  command
      .add_option_function<std::string>(
          "--channel",
          [&options](const std::string &text) { options.format.channel = parse_channel(text); },
          "What to take of several channels; mix is their mean")
      ->type_name("left|right|mix");
  command
      .add_option_function<std::string>(
          "--gain", [&options](const std::string &text) { options.gain_db = parse_gain(text); },
          "Make it louder by so many dB, or bring active speech to -22 dBov with auto")
      ->type_name("auto|DB");
  command.add_flag("--fill-band", options.fill_band,
                   "Add faint noise above 3.2 kHz, for recordings that have nothing there");
}
