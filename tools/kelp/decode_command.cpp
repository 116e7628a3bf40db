// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include <CLI/CLI.hpp>
#include <cinttypes>
#include <memory>

#include "tools/kelp/commands.h"
#include "tools/kelp/decode.h"
#include "tools/kelp/decode_options.h"
#include "tools/kelp/standard_streams.h"
#include "tools/kelp/text.h"

namespace {

constexpr const char *kExamples = R"(Examples:
  kelp decode speech.kelp decoded.wav             160 samples for every packet
  kelp decode --trim speech.kelp in-step.flac     without the 60 samples of codec delay
  kelp decode --start 60 --duration 5 long.kelp excerpt.wav
  kelp decode --lose 5% --seed 3 speech.kelp lossy.wav
  kelp decode --keep-going damaged.kelp rest.wav
  kelp decode speech.kelp - | aplay)";

DecodeReport decode_with_progress(const DecodeOptions &options, const Console &console) {
  ProgressLine line(console, input_name(options.input));
  return decode_stream(options, line.callback());
}

// "; concealed: 3 lost on purpose, 2 erasures", or nothing.
std::string concealment(const Concealed &concealed) {
  std::string text;
  const auto add = [&text](uint64_t count, const char *what) {
    if (count == 0) return;
    text += text.empty() ? "; concealed: " : ", ";
    text += std::to_string(count) + " " + what;
  };
  add(concealed.lost, "lost on purpose");
  add(concealed.erasures, "erased");
  add(concealed.unusable, "unusable");
  add(concealed.damaged, "damaged");
  return text;
}

void decode(const DecodeOptions &options, const Console &console) {
  const DecodeReport report = decode_with_progress(options, console);
  console.notes(report.notes);
  const std::string text =
      formatted(": %" PRIu64 " packets decoded, %.3f s", report.tally.packets(), report.seconds);
  console.report(output_name(options.output) + text + concealment(report.concealed) + "\n",
                 is_standard_stream(options.output));
}

}  // namespace

void add_decode_command(CLI::App &program, const Console &console) {
  auto options = std::make_shared<DecodeOptions>();
  CLI::App &command =
      new_command(program, "decode", "Decode a .kelp stream into a recording", kExamples);
  add_operand(command, "IN.kelp", options->input, "Stream to read; - is standard input");
  add_operand(command, "OUT", options->output,
              "File to write: .flac, .raw (as --raw), else WAV; - is standard output, as WAV");
  command.add_flag("-f,--force", options->force, "Overwrite an existing output");
  command.add_flag("--raw", options->raw,
                   "Write 16-bit little-endian samples without a header, 8000 Hz, mono");
  add_decode_options(command, *options);
  command.callback([options, &console] { decode(*options, console); });
}
