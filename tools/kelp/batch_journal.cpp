// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "tools/kelp/batch_journal.h"

#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sys/stat.h>
#include <unistd.h>

#include "tools/kelp/failure.h"
#include "tools/kelp/hash.h"

namespace fs = std::filesystem;

namespace {

constexpr const char *kFolder = ".kelp-batch";
constexpr const char *kClaim = "claim\t";
constexpr const char *kRemedy = "make room, or check the permissions of its folder";

// A name as one line.
std::string one_line(const std::string &name) {
  std::string line;
  for (const char c : name) {
    if (c == '\\') {
      line += "\\\\";
    } else if (c == '\n') {
      line += "\\n";
    } else {
      line += c;
    }
  }
  return line;
}

// "SIZE TIME " in bytes and nanoseconds; empty where there is no such file.
std::string size_and_time(const fs::path &path) {
  struct stat status = {};
  if (stat(path.c_str(), &status) != 0) return {};
  char text[80];
  static_cast<void>(
      std::snprintf(text, sizeof text, "%jd %jd.%09ld ", static_cast<intmax_t>(status.st_size),
                    static_cast<intmax_t>(status.st_mtim.tv_sec), status.st_mtim.tv_nsec));
  return text;
}

}  // namespace

BatchJournal::BatchJournal(const BatchPlan &plan, const Shard &shard, const std::string &settings)
    : input_folder_(plan.input_folder), output_folder_(plan.output_folder) {
  char hash[24];
  static_cast<void>(std::snprintf(hash, sizeof hash, "%016" PRIx64, hash_of(settings)));
  settings_ = hash;

  const fs::path folder = fs::path(output_folder_) / kFolder;
  std::error_code error;
  fs::create_directories(folder, error);
  if (error) {
    throw Failure(output_folder_ + ": cannot be written to: " + error.message() +
                  "; name another output folder or check its permissions");
  }
  for (const fs::directory_entry &entry : fs::directory_iterator(folder, error)) {
    std::ifstream file(entry.path());
    for (std::string line; std::getline(file, line);) {
      (line.starts_with(kClaim) ? claims_ : entries_).insert(line);
    }
  }

  path_ = (folder / (std::to_string(shard.number) + "-of-" + std::to_string(shard.of))).string();
  descriptor_ = open(path_.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666);
  if (descriptor_ < 0) throw system_failure(path_, "cannot be opened", kRemedy);
  append("\n");  // ends a line that an earlier run was stopped in
}

BatchJournal::~BatchJournal() {
  close(descriptor_);
}

bool BatchJournal::finished(const BatchFile &file) const {
  const std::string line = entry(file);
  return !line.empty() && entries_.contains(line);
}

bool BatchJournal::claimed(const BatchFile &file) const {
  return claims_.contains(kClaim + one_line(file.output));
}

void BatchJournal::claim(const BatchFile &file) {
  append(kClaim + one_line(file.output) + "\n");
}

void BatchJournal::finish(const BatchFile &file) {
  append(entry(file) + "\n");
}

std::string BatchJournal::entry(const BatchFile &file) const {
  const std::string input = size_and_time(fs::path(input_folder_) / file.name);
  const std::string output = size_and_time(fs::path(output_folder_) / file.output);
  if (input.empty() || output.empty()) return {};
  return input + output + settings_ + '\t' + one_line(file.name) + '\t' + one_line(file.output);
}

// In one call, which the system keeps apart from those of other threads.
void BatchJournal::append(const std::string &line) {
  if (write(descriptor_, line.data(), line.size()) != static_cast<ssize_t>(line.size())) {
    throw system_failure(path_, "cannot be written", kRemedy);
  }
}
