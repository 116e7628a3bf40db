// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "tools/kelp/output_file.h"

#include <cerrno>
#include <unistd.h>

#include "tools/kelp/failure.h"
#include "tools/kelp/standard_streams.h"

namespace fs = std::filesystem;

namespace {

constexpr size_t kBufferBytes = 65536;
constexpr const char *kMakeRoom = "make room or write to another place";

}  // namespace

OutputFile::OutputFile(const std::string &path, const std::string &input_path, bool force)
    : path_(path), force_(force) {
  if (is_standard_stream(path)) {
    if (isatty(STDOUT_FILENO) != 0) {
      throw Failure("standard output: is a terminal; send it on with | or >, or name a file");
    }
    return;
  }
  std::error_code none;
  if (fs::equivalent(path_, input_path, none)) {
    throw Failure(path + ": is the input itself; name another output");
  }
  if (fs::is_symlink(path_, none)) path_ = fs::weakly_canonical(path_);
  if (fs::exists(path_, none) && !fs::is_regular_file(path_, none)) {
    throw Failure(path + ": is not a regular file; name a file as the output, or - for standard " +
                  "output");
  }
  refuse_existing();
  const fs::path directory = path_.has_parent_path() ? path_.parent_path() : fs::path(".");
  file_ = std::make_unique<TemporaryFile>(directory.string());
  if (file_->descriptor() < 0) {
    throw system_failure(path, "cannot be created",
                         "check that its directory exists and is writable");
  }
}

std::string OutputFile::name() const {
  return output_name(path_.string());
}

int OutputFile::descriptor() const {
  return file_ ? file_->descriptor() : STDOUT_FILENO;
}

void OutputFile::append(std::span<const uint8_t> bytes) {
  pending_.insert(pending_.end(), bytes.begin(), bytes.end());
  // A pipe gets packets as they are made: somebody may be listening.
  if (is_standard_output() || pending_.size() >= kBufferBytes) flush();
}

void OutputFile::commit() {
  flush();
  if (is_standard_output()) return;
  refuse_existing();  // it may have appeared meanwhile
  if (!file_->move_to(path_.string())) {
    throw system_failure(name(), "cannot be completed", kMakeRoom);
  }
}

void OutputFile::refuse_existing() const {
  std::error_code none;
  if (!force_ && fs::exists(path_, none)) {
    throw Failure(path_.string() + ": exists already; overwrite it with --force or name another");
  }
}

void OutputFile::flush() {
  size_t done = 0;
  while (done < pending_.size()) {
    const ssize_t written = write(descriptor(), pending_.data() + done, pending_.size() - done);
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) throw system_failure(name(), "cannot be written", kMakeRoom);
    done += static_cast<size_t>(written);
  }
  pending_.clear();
}
