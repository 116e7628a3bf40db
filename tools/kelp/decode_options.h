// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
#ifndef KELP_TOOLS_KELP_DECODE_OPTIONS_H
#define KELP_TOOLS_KELP_DECODE_OPTIONS_H

#include "tools/kelp/decode.h"

namespace CLI {
class App;
}

// Adds to a command the options that say how streams are decoded, from --trim to --keep-going.
// `options` must live as long as the command.
void add_decode_options(CLI::App &command, DecodeOptions &options);

#endif  // KELP_TOOLS_KELP_DECODE_OPTIONS_H
