// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// kelp: encodes, decodes and inspects streams of the libkelp speech codec.
//
// Exit status: 0 done, 1 failed (the message on stderr tells why), 2 wrong usage.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <iostream>

#include "kelp.h"
#include "tools/kelp/commands.h"
#include "tools/kelp/failure.h"

namespace {

constexpr int kDone = 0;
constexpr int kFailed = 1;
constexpr int kWrongUsage = 2;

constexpr const char *kExamples =
    R"(Examples:
  kelp encode speech.wav speech.kelp        8000 Hz, mono, 16-bit PCM in
  kelp decode speech.kelp decoded.wav       160 samples for every packet
  kelp decode --trim speech.kelp same.wav   without the 60 samples of codec delay
  kelp info speech.kelp                     rates and bit rate of a stream
  sox any.wav -e signed-integer -b 16 -r 8000 -c 1 speech.wav

A .kelp stream is packets back to back; the first byte of a packet tells its length.
Exit status: 0 done, 1 failed, 2 wrong usage.)";

int run(int argc, char **argv) {
  CLI::App app("Encodes, decodes and inspects narrow-band speech (TIA/EIA IS-733)", "kelp");
  app.footer(kExamples);
  app.set_version_flag("--version", "kelp " KELP_VERSION_STRING);
  app.require_subcommand(1);
  app.fallthrough();  // `kelp encode -q ...` as well as `kelp -q encode ...`

  Options options;
  app.add_flag("-q,--quiet", options.quiet, "Print nothing but errors");

  CLI::App *encode = app.add_subcommand("encode", "Encode a WAV file into a .kelp stream");
  encode->add_option("IN.wav", options.input, "8000 Hz, mono, 16-bit PCM")->required();
  encode->add_option("OUT.kelp", options.output, "Stream to write")->required();
  encode->add_flag("-f,--force", options.force, "Overwrite an existing output");

  CLI::App *decode = app.add_subcommand("decode", "Decode a .kelp stream into a WAV file");
  decode->add_option("IN.kelp", options.input, "Stream to read")->required();
  decode->add_option("OUT.wav", options.output, "WAV file to write")->required();
  decode->add_flag("-f,--force", options.force, "Overwrite an existing output");
  decode->add_flag("--trim", options.trim, "Drop the 60 samples of delay at the start");

  CLI::App *info = app.add_subcommand("info", "Show packets, rates and bit rate of a stream");
  info->add_option("FILE.kelp", options.input, "Stream to read")->required();

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError &error) {
    return app.exit(error) == 0 ? kDone : kWrongUsage;
  }

  kelp_init();
  if (*encode) encode_recording(options);
  if (*decode) decode_stream(options);
  if (*info) show_stream(options);
  if (std::fflush(stdout) != 0)
    throw system_failure("standard output", "cannot be written", "see where it goes");
  return kDone;
}

}  // namespace

int main(int argc, char **argv) {
  try {
    return run(argc, argv);
  } catch (const std::exception &error) {
    static_cast<void>(std::fflush(stdout));  // a fault of it has nowhere else to go
    std::cerr << "kelp: " << error.what() << '\n';
    return kFailed;
  }
}
