// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
#ifndef KELP_TOOLS_KELP_TEMPORARY_FILE_H
#define KELP_TOOLS_KELP_TEMPORARY_FILE_H

#include <string>

struct TemporaryName;  // where the signal handler finds it

// A file under a name of its own in a directory, which is removed with the object, or by a signal
// that ends the program. Any number of them may exist at once, on any threads.
class TemporaryFile {
 public:
  explicit TemporaryFile(const std::string &directory);
  ~TemporaryFile();
  TemporaryFile(const TemporaryFile &) = delete;
  TemporaryFile &operator=(const TemporaryFile &) = delete;

  // Below 0 where the file could not be made; errno then says why.
  [[nodiscard]] int descriptor() const { return descriptor_; }

  // Closes the file and gives it this name for good. Where that fails the file is removed, and
  // errno says why.
  bool move_to(const std::string &path);

 private:
  TemporaryName *name_;
  int descriptor_ = -1;
};

#endif  // KELP_TOOLS_KELP_TEMPORARY_FILE_H
