// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
#ifndef KELP_TOOLS_KELP_ENCODE_OPTIONS_H
#define KELP_TOOLS_KELP_ENCODE_OPTIONS_H

#include "tools/kelp/encode.h"

namespace CLI {
class App;
}

// Adds to a command the options that say how recordings are encoded: --channel, --gain and
// --fill-band. `options` must live as long as the command.
void add_encode_options(CLI::App &command, EncodeOptions &options);

#endif  // KELP_TOOLS_KELP_ENCODE_OPTIONS_H
