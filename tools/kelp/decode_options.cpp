// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "tools/kelp/decode_options.h"

#include <CLI/CLI.hpp>

namespace {

constexpr double kLongest_s = 1e9;  // 31 years

double parse_percent(std::string text) {
  const std::string given = text;
  if (!text.empty() && text.back() == '%') text.pop_back();
  double percent = 0;
  if (!CLI::detail::lexical_cast(text, percent) || !(percent >= 0 && percent <= 100)) {
    throw CLI::ValidationError("--lose", "give a percentage from 0 to 100, not '" + given + "'");
  }
  return percent;
}

}  // namespace

void add_decode_options(CLI::App &command, DecodeOptions &options) {
  command.add_flag("--trim", options.trim, "Drop the 60 samples of codec delay at the start");
  command.add_option("--start", options.start_s, "Leave out so many seconds at the start")
      ->check(CLI::Range(0.0, kLongest_s).description(""))
      ->type_name("SECONDS");
  command.add_option("--duration", options.duration_s, "Write so many seconds at most")
      ->check(CLI::Range(0.0, kLongest_s).description(""))
      ->type_name("SECONDS");
  CLI::Option *lose =
      command
          .add_option_function<std::string>(
              "--lose",
              [&options](const std::string &text) { options.loss.percent = parse_percent(text); },
              "Lose so many of the packets at random, to hear concealment")
          ->type_name("PERCENT");
  command.add_option("--seed", options.loss.seed, "Lose others with the same probability")
      ->needs(lose)
      ->type_name("N");
  command
      .add_option("--lose-pattern", options.loss.pattern_path,
                  "Lose the packets that have a 1 in this file of 0 and 1, over and over")
      ->excludes(lose)
      ->type_name("FILE");
  command.add_flag("--keep-going", options.keep_going,
                   "Conceal what is damaged instead of failing at it");
}
