// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// The commands of the program. Each has a file NAME_command.cpp, which describes its options and
// tells what came of it, and does its work through functions of other files.
#ifndef KELP_TOOLS_KELP_COMMANDS_H
#define KELP_TOOLS_KELP_COMMANDS_H

#include <string>

#include "tools/kelp/console.h"

namespace CLI {
class App;
}

// Each adds one command to the program. The command runs when the arguments are parsed, and throws
// a Failure when it cannot do its work, or a CLI::ParseError when it finds its usage wrong. The
// console is the program's, and lives as long as it.
void add_encode_command(CLI::App &program, const Console &console);
void add_decode_command(CLI::App &program, const Console &console);
void add_info_command(CLI::App &program, const Console &console);
void add_compare_command(CLI::App &program, const Console &console);
void add_batch_command(CLI::App &program, const Console &console);

// For those files: a command, and an argument that must be given, known by its place.
CLI::App &new_command(CLI::App &program, const char *name, const char *description,
                      const char *examples);
void add_operand(CLI::App &command, const char *name, std::string &value, const char *description);

#endif  // KELP_TOOLS_KELP_COMMANDS_H
