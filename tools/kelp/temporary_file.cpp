// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "tools/kelp/temporary_file.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

// A place in a list that only grows, because a signal handler may be reading it at any moment.
struct TemporaryName {
  enum State : int { kFree, kTaken, kInUse };  // in use: the handler may read the path
  std::atomic<int> state = kTaken;
  char path[4096] = "";
  TemporaryName *next = nullptr;
};

namespace {

std::atomic<TemporaryName *> names = nullptr;
std::atomic<bool> ending = false;

void remove_all_and_end(int signal_number) {
  ending = true;  // before the list is read: see create
  for (const TemporaryName *name = names; name != nullptr; name = name->next) {
    if (name->state == TemporaryName::kInUse) unlink(name->path);
  }
  // SA_RESETHAND has put the default action back, which ends the program.
  static_cast<void>(raise(signal_number));
}

bool remove_on_signals() {
  struct sigaction action = {};
  action.sa_handler = remove_all_and_end;
  action.sa_flags = static_cast<int>(SA_RESETHAND);
  for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGPIPE}) {
    struct sigaction before = {};
    sigaction(number, nullptr, &before);
    if (before.sa_handler != SIG_IGN) sigaction(number, &action, nullptr);  // nohup stays in force
  }
  return true;
}

TemporaryName *take_name() {
  for (TemporaryName *name = names; name != nullptr; name = name->next) {
    int free = TemporaryName::kFree;
    if (name->state.compare_exchange_strong(free, TemporaryName::kTaken)) return name;
  }
  auto *const name = new TemporaryName;
  name->next = names;
  while (!names.compare_exchange_weak(name->next, name)) {
  }
  return name;
}

// A descriptor, or -1 with the cause in errno.
int create(TemporaryName *name, const std::string &directory) {
  static std::atomic<unsigned> count = 0;
  for (;;) {
    name->state = TemporaryName::kTaken;
    const int length = std::snprintf(name->path, sizeof name->path, "%s/.kelp-%ld-%u",
                                     directory.c_str(), static_cast<long>(getpid()), count++);
    if (length < 0 || static_cast<size_t>(length) >= sizeof name->path) {
      errno = ENAMETOOLONG;
      return -1;
    }
    name->state = TemporaryName::kInUse;
    const int descriptor = open(name->path, O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (ending) {  // another thread's handler may have passed this name by
      unlink(name->path);
      for (;;) pause();
    }
    // Left over from a process that was killed, or another machine's: then the next number.
    if (descriptor >= 0 || errno != EEXIST) return descriptor;
  }
}

}  // namespace

TemporaryFile::TemporaryFile(const std::string &directory) : name_(take_name()) {
  static const bool handled = remove_on_signals();
  static_cast<void>(handled);
  descriptor_ = create(name_, directory);
}

TemporaryFile::~TemporaryFile() {
  if (descriptor_ >= 0) {
    close(descriptor_);
    unlink(name_->path);
  }
  name_->state = TemporaryName::kFree;
}

bool TemporaryFile::move_to(const std::string &path) {
  const int descriptor = descriptor_;
  descriptor_ = -1;
  if (close(descriptor) == 0 && std::rename(name_->path, path.c_str()) == 0) return true;
  const int cause = errno;
  unlink(name_->path);
  errno = cause;
  return false;
}
