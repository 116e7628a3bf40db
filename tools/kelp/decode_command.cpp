// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include <CLI/CLI.hpp>
#include <cinttypes>
#include <cstdio>
#include <memory>

#include "tools/kelp/commands.h"
#include "tools/kelp/decode.h"
#include "tools/kelp/standard_streams.h"

namespace {

void decode(const DecodeOptions &options, const Console &console) {
  const DecodeReport report = decode_stream(options);
  console.notes(report.notes);
  char text[128];
  static_cast<void>(std::snprintf(text, sizeof text, ": %" PRIu64 " packets decoded, %.3f s",
                                  report.tally.packets(), report.seconds));
  std::string line = output_name(options.output) + text;
  const uint64_t lost = report.tally.count(KELP_RATE_ERASURE);
  if (lost != 0) line += ", " + std::to_string(lost) + " of them concealed erasures";
  console.report(line + "\n", is_standard_stream(options.output));
}

}  // namespace

void add_decode_command(CLI::App &program, const Console &console) {
  auto options = std::make_shared<DecodeOptions>();
  CLI::App *command = program.add_subcommand("decode", "Decode a .kelp stream into a WAV file");
  command->add_option("IN.kelp", options->input, "Stream to read")->required();
  command->add_option("OUT.wav", options->output, "WAV file to write")->required();
  command->add_flag("-f,--force", options->force, "Overwrite an existing output");
  command->add_flag("--trim", options->trim, "Drop the 60 samples of delay at the start");
  command->callback([options, &console] { decode(*options, console); });
}
