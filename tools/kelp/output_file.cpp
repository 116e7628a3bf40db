// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "tools/kelp/output_file.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tools/kelp/failure.h"

namespace fs = std::filesystem;

namespace {

constexpr size_t kBufferBytes = 65536;
constexpr const char *kMakeRoom = "make room or write to another place";

// Name of the temporary file while there is one: plain storage, because a signal handler reads it.
char temporary_name[4096];

void remove_and_end(int signal_number) {
  unlink(temporary_name);
  // SA_RESETHAND has put the default action back, which ends the program.
  static_cast<void>(raise(signal_number));
}

void remove_on_signals() {
  struct sigaction action = {};
  action.sa_handler = remove_and_end;
  action.sa_flags = static_cast<int>(SA_RESETHAND);
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction before = {};
    sigaction(number, nullptr, &before);
    if (before.sa_handler != SIG_IGN) sigaction(number, &action, nullptr);  // nohup stays in force
  }
  // A file-size limit then is an error of write, reported like any other.
  static_cast<void>(signal(SIGXFSZ, SIG_IGN));
}

}  // namespace

OutputFile::OutputFile(const std::string &path, const std::string &input_path, bool force)
    : path_(path), force_(force) {
  std::error_code none;
  if (fs::equivalent(path_, input_path, none)) {
    throw Failure(path + ": is the input itself; name another output");
  }
  if (fs::is_symlink(path_, none)) path_ = fs::weakly_canonical(path_);
  if (fs::exists(path_, none) && !fs::is_regular_file(path_, none)) {
    throw Failure(path + ": is not a regular file; name a file as the output");
  }
  refuse_existing();

  const fs::path directory = path_.has_parent_path() ? path_.parent_path() : fs::path(".");
  const std::string pattern = (directory / ".kelp-XXXXXX").string();
  if (pattern.size() >= sizeof temporary_name) {
    throw Failure(path + ": the name is too long; choose a shorter one");
  }
  std::memcpy(temporary_name, pattern.c_str(), pattern.size() + 1);
  remove_on_signals();  // before there is anything to remove
  descriptor_ = mkostemp(temporary_name, O_CLOEXEC);
  if (descriptor_ < 0)
    throw system_failure(path, "cannot be created",
                         "check that its directory exists and is writable");
  // mkostemp makes a file for the owner alone; the output gets what any new file gets.
  const mode_t mask = umask(0);
  umask(mask);
  fchmod(descriptor_, 0666 & ~mask);
}

OutputFile::~OutputFile() {
  if (descriptor_ < 0) return;
  close(descriptor_);
  unlink(temporary_name);
}

void OutputFile::append(std::span<const uint8_t> bytes) {
  pending_.insert(pending_.end(), bytes.begin(), bytes.end());
  if (pending_.size() >= kBufferBytes) flush();
}

void OutputFile::commit() {
  flush();
  refuse_existing();  // it may have appeared meanwhile
  const int descriptor = descriptor_;
  descriptor_ = -1;
  if (close(descriptor) != 0 || std::rename(temporary_name, path_.c_str()) != 0) {
    const int cause = errno;
    unlink(temporary_name);
    errno = cause;
    throw system_failure(path_, "cannot be completed", kMakeRoom);
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
    const ssize_t written = write(descriptor_, pending_.data() + done, pending_.size() - done);
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) throw system_failure(path_, "cannot be written", kMakeRoom);
    done += static_cast<size_t>(written);
  }
  pending_.clear();
}
