// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
#ifndef KELP_TOOLS_KELP_OUTPUT_FILE_H
#define KELP_TOOLS_KELP_OUTPUT_FILE_H

#include <cstdint>
#include <filesystem>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "tools/kelp/temporary_file.h"

// An output that appears under its name only when it is whole: until commit it is a temporary file
// in the same directory. "-" is standard output, which takes bytes as they come. Several may be
// open at once on different threads; each belongs to one thread at a time.
class OutputFile {
 public:
  // Refuses a path that is the input itself, that exists (unless `force`), or that is something
  // else than a file, such as a directory or a device.
  OutputFile(const std::string &path, const std::string &input_path, bool force);
  OutputFile(const OutputFile &) = delete;
  OutputFile &operator=(const OutputFile &) = delete;

  [[nodiscard]] std::string name() const;  // for messages
  [[nodiscard]] bool is_standard_output() const { return !file_; }
  [[nodiscard]] int descriptor() const;
  void append(std::span<const uint8_t> bytes);
  void commit();  // all of it is written and, if it is a file, in its place

 private:
  void refuse_existing() const;
  void flush();

  std::filesystem::path path_;  // where the file goes, symbolic links followed
  bool force_;
  std::unique_ptr<TemporaryFile> file_;  // null for standard output
  std::vector<uint8_t> pending_;         // appended, not yet written
};

#endif  // KELP_TOOLS_KELP_OUTPUT_FILE_H
