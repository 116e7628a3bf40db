// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include <CLI/CLI.hpp>
#include <cinttypes>
#include <memory>

#include "tools/kelp/commands.h"
#include "tools/kelp/encode.h"
#include "tools/kelp/encode_options.h"
#include "tools/kelp/standard_streams.h"
#include "tools/kelp/text.h"

namespace {

constexpr const char *kExamples = R"(Examples:
  kelp encode speech.wav speech.kelp
  kelp encode --channel left call.flac caller.kelp
  kelp encode --gain auto faint.ogg loud.kelp
  arecord -q -f S16_LE -r 8000 | kelp encode - - | kelp decode - - | aplay -q)";

EncodeReport encode_with_progress(const EncodeOptions &options, const Console &console) {
  ProgressLine line(console, input_name(options.input));
  return encode_recording(options, line.callback());
}

void encode(const EncodeOptions &options, const Console &console) {
  const EncodeReport report = encode_with_progress(options, console);
  console.notes(report.notes);
  std::string text = output_name(options.output) + formatted(": %.3f s encoded", report.seconds);
  if (report.unusable != 0) text += formatted(", %" PRIu64 " packets unusable", report.unusable);
  console.report(text + "\n" + report.tally.report(), is_standard_stream(options.output));
}

}  // namespace

void add_encode_command(CLI::App &program, const Console &console) {
  auto options = std::make_shared<EncodeOptions>();
  CLI::App &command =
      new_command(program, "encode", "Encode a recording into a .kelp stream", kExamples);
  add_operand(command, "RECORDING", options->input,
              "WAV, FLAC, Ogg, AIFF, MP3 and more, at any sampling rate; - is standard input");
  add_operand(command, "OUT.kelp", options->output, "Stream to write; - is standard output");
  command.add_flag("-f,--force", options->force, "Overwrite an existing output");
  command.add_flag("--raw", options->format.raw,
                   "The input has no header: 16-bit little-endian samples, 8000 Hz, mono");
  add_encode_options(command, *options);
  command.callback([options, &console] { encode(*options, console); });
}
