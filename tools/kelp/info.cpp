// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include <cstdio>

#include "tools/kelp/commands.h"
#include "tools/kelp/failure.h"
#include "tools/kelp/packet_file.h"
#include "tools/kelp/rates.h"

void show_stream(const Options &options) {
  PacketReader stream(options.input);
  RateTally tally;
  const auto show = [&] {
    if (!options.quiet) std::printf("%s", tally.report().c_str());
  };
  try {
    for (Packet packet; stream.next(packet);) tally.add(packet.rate());
  } catch (const Failure &) {
    if (tally.packets() != 0) show();  // what there is before the fault
    throw;
  }
  show();
}
