// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include <CLI/CLI.hpp>
#include <memory>

#include "tools/kelp/commands.h"
#include "tools/kelp/failure.h"
#include "tools/kelp/packet_file.h"
#include "tools/kelp/rates.h"

namespace {

void show_stream(const std::string &path, const Console &console) {
  PacketReader stream(path);
  RateTally tally;
  try {
    for (Packet packet; stream.next(packet);) tally.add(packet.rate());
  } catch (const Failure &) {
    if (tally.packets() != 0) console.report(tally.report());  // what there is before the fault
    throw;
  }
  console.report(tally.report());
}

}  // namespace

void add_info_command(CLI::App &program, const Console &console) {
  auto path = std::make_shared<std::string>();
  CLI::App *command =
      program.add_subcommand("info", "Show packets, rates and bit rate of a stream");
  command->add_option("FILE.kelp", *path, "Stream to read")->required();
  command->callback([path, &console] { show_stream(*path, console); });
}
