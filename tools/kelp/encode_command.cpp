// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>

#include "tools/kelp/commands.h"
#include "tools/kelp/encode.h"
#include "tools/kelp/standard_streams.h"

namespace {

void encode(const EncodeOptions &options, const Console &console) {
  const EncodeReport report = encode_recording(options);
  console.notes(report.notes);
  char duration[64];
  static_cast<void>(std::snprintf(duration, sizeof duration, ": %.3f s encoded\n", report.seconds));
  console.report(output_name(options.output) + duration + report.tally.report(),
                 is_standard_stream(options.output));
}

}  // namespace

void add_encode_command(CLI::App &program, const Console &console) {
  auto options = std::make_shared<EncodeOptions>();
  CLI::App *command = program.add_subcommand("encode", "Encode a WAV file into a .kelp stream");
  command->add_option("IN.wav", options->input, "8000 Hz, mono, 16-bit PCM")->required();
  command->add_option("OUT.kelp", options->output, "Stream to write")->required();
  command->add_flag("-f,--force", options->force, "Overwrite an existing output");
  command->callback([options, &console] { encode(*options, console); });
}
