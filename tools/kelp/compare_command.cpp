// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include <CLI/CLI.hpp>
#include <memory>

#include "tools/kelp/commands.h"
#include "tools/kelp/compare.h"
#include "tools/kelp/rates.h"
#include "tools/kelp/standard_streams.h"
#include "tools/kelp/text.h"

namespace {

constexpr const char *kExamples =
    R"(OTHER is shifted until it matches REFERENCE best, up to 1 s either way, and then compared sample by
sample in the frames of 20 ms in which REFERENCE has speech. A higher signal-to-noise ratio and a
lower spectral distance are closer; the level is not adjusted. The encoder filters its input, which
turns the phase of low frequencies: without --high-pass that counts as noise too.

Examples:
  kelp compare --high-pass speech.wav decoded.wav
  kelp decode --lose 5% speech.kelp - | kelp compare --high-pass speech.wav -
  kelp compare --json speech.wav other.wav)";

double milliseconds(std::ptrdiff_t samples) {
  return static_cast<double>(samples) * 1000 / kSampleRate_hz;
}

std::string as_text(const CompareOptions &options, const Comparison &result) {
  const auto recording = [](const char *what, const std::string &path,
                            const ComparedRecording &facts) {
    return formatted("%-18s %9.3f s, active speech at %.1f dBov: ", what, facts.seconds,
                     facts.level_dbov) +
           input_name(path) + "\n";
  };
  return recording("reference", options.reference, result.reference) +
         recording("other", options.other, result.other) +
         formatted("delay              %9td samples, %.3f ms\n", result.delay,
                   milliseconds(result.delay)) +
         formatted("correlation        %9.3f\n", result.correlation) +
         formatted("segmental SNR      %9.2f dB over %zu active of %zu frames\n", result.snr.db,
                   result.snr.active, result.snr.frames) +
         formatted("spectral distance  %9.2f dB\n", result.distance.db);
}

std::string as_json(const CompareOptions &options, const Comparison &result) {
  const auto recording = [](const std::string &path, const ComparedRecording &facts) {
    return JsonObject()
        .add("file", json_string(input_name(path)))
        .add("seconds", decimal(facts.seconds, 3))
        .add("active_level_dbov", decimal(facts.level_dbov, 2))
        .text();
  };
  return JsonObject()
             .add("reference", recording(options.reference, result.reference))
             .add("other", recording(options.other, result.other))
             .add("delay_samples", std::to_string(result.delay))
             .add("correlation", decimal(result.correlation, 4))
             .add("segmental_snr_db", decimal(result.snr.db, 3))
             .add("spectral_distance_db", decimal(result.distance.db, 3))
             .add("frames", std::to_string(result.snr.frames))
             .add("active_frames", std::to_string(result.snr.active))
             .text() +
         "\n";
}

void compare(const CompareOptions &options, bool json, const Console &console) {
  if (is_standard_stream(options.reference) && is_standard_stream(options.other)) {
    throw CLI::ValidationError("REFERENCE OTHER", "only one of the two can be standard input");
  }
  const Comparison result = compare_recordings(options);
  console.notes(result.notes);
  console.report(json ? as_json(options, result) : as_text(options, result));
}

}  // namespace

void add_compare_command(CLI::App &program, const Console &console) {
  auto options = std::make_shared<CompareOptions>();
  auto json = std::make_shared<bool>(false);
  CLI::App &command = new_command(program, "compare",
                                  "Tell how close decoded speech comes to the original", kExamples);
  add_operand(command, "REFERENCE", options->reference,
              "Recording of the original; - is standard input");
  add_operand(command, "OTHER", options->other, "Recording to judge; - is standard input");
  command.add_flag("--high-pass", options->high_pass,
                   "Filter the reference as the encoder filters its input");
  command.add_flag("--json", *json, "Print the figures as JSON");
  command.callback([options, json, &console] { compare(*options, *json, console); });
}
