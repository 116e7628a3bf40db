// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// kelp: encodes, decodes and inspects streams of the libkelp speech codec.
//
// Exit status: 0 done, 1 failed (the message on stderr tells why), 2 wrong usage.
#include <CLI/CLI.hpp>
#include <csignal>
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
  kelp encode speech.wav speech.kelp      any file that libsndfile reads, at any sampling rate
  kelp decode speech.kelp decoded.wav     160 samples for every packet
  kelp compare speech.wav decoded.wav     delay and quality
  kelp info speech.kelp                   rates and bit rate of a stream
  kelp COMMAND --help                     the options of a command, with examples

A .kelp stream is packets back to back; the first byte of a packet tells its length.
A file named - is standard input or standard output.
Exit status: 0 done, 1 failed, 2 wrong usage.)";

int run(int argc, char **argv) {
  CLI::App program("Encodes, decodes and inspects narrow-band speech (TIA/EIA IS-733)", "kelp");
  program.footer(kExamples);
  program.set_version_flag("--version", "kelp " KELP_VERSION_STRING);
  program.require_subcommand(1);
  program.fallthrough();  // `kelp encode -q ...` as well as `kelp -q encode ...`

  Console console;
  program.add_flag("-q,--quiet", console.quiet, "Print nothing but errors");
  add_encode_command(program, console);
  add_decode_command(program, console);
  add_info_command(program, console);
  add_compare_command(program, console);
  add_batch_command(program, console);

  kelp_init();  // commands may start threads
  try {
    program.parse(argc, argv);
  } catch (const CLI::ParseError &error) {
    return program.exit(error) == 0 ? kDone : kWrongUsage;
  }
  if (!std::cout.flush()) {
    throw system_failure("standard output", "cannot be written", "see where it goes");
  }
  return kDone;
}

}  // namespace

int main(int argc, char **argv) {
  // A file-size limit then is an error of write, reported like any other.
  static_cast<void>(std::signal(SIGXFSZ, SIG_IGN));
  try {
    return run(argc, argv);
  } catch (const std::exception &error) {
    static_cast<void>(std::cout.flush());  // a fault of it has nowhere else to go
    std::cerr << "kelp: " << error.what() << '\n';
    return kFailed;
  }
}
