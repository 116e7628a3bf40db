// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "tools/kelp/commands.h"

#include <CLI/CLI.hpp>

CLI::App &new_command(CLI::App &program, const char *name, const char *description,
                      const char *examples) {
  CLI::App &command = *program.add_subcommand(name, description);
  command.footer(examples);
  return command;
}

void add_operand(CLI::App &command, const char *name, std::string &value, const char *description) {
  command.add_option(name, value, description)->required()->type_name("");
}
