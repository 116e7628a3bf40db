// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
#ifndef KELP_TOOLS_KELP_OUTPUT_FILE_H
#define KELP_TOOLS_KELP_OUTPUT_FILE_H

#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <vector>

// An output that appears under its name only when it is whole. Until commit it is a temporary file
// in the same directory, which a failure or a signal that ends the program removes. One at a time.
class OutputFile {
 public:
  // Refuses a path that is the input itself, that exists (unless `force`), or that is something
  // else than a file, such as a directory or a device.
  OutputFile(const std::string &path, const std::string &input_path, bool force);
  ~OutputFile();
  OutputFile(const OutputFile &) = delete;
  OutputFile &operator=(const OutputFile &) = delete;

  [[nodiscard]] int descriptor() const { return descriptor_; }
  void append(std::span<const uint8_t> bytes);
  void commit();

 private:
  void refuse_existing() const;
  void flush();

  std::filesystem::path path_;  // where the file goes, symbolic links followed
  bool force_;
  int descriptor_ = -1;
  std::vector<uint8_t> pending_;  // appended, not yet written
};

#endif  // KELP_TOOLS_KELP_OUTPUT_FILE_H
