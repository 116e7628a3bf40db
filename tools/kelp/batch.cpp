// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "tools/kelp/batch.h"

#include <algorithm>
#include <filesystem>
#include <utility>

#include "tools/kelp/failure.h"

namespace fs = std::filesystem;

Batch::Batch(const BatchPlan &plan, BatchJournal &journal, BatchWork work, bool force)
    : plan_(plan), journal_(journal), work_(std::move(work)), force_(force) {
  count_.files = plan.files.size();
  for (const BatchFile &file : plan.files) count_.bytes += file.bytes;
}

Batch::~Batch() {
  stopping_ = true;
  for (std::thread &thread : threads_) thread.join();
}

void Batch::start(unsigned threads) {
  working_ = threads;
  for (unsigned i = 0; i < threads; i++) threads_.emplace_back(&Batch::work_on_files, this);
}

bool Batch::wait_for(std::chrono::milliseconds time) {
  std::unique_lock lock(mutex_);
  return all_done_.wait_for(lock, time, [this] { return working_ == 0; });
}

BatchCount Batch::count() const {
  const std::lock_guard lock(mutex_);
  return count_;
}

std::vector<BatchMessage> Batch::take_messages() {
  const std::lock_guard lock(mutex_);
  return std::exchange(messages_, {});
}

void Batch::work_on_files() {
  for (size_t i = next_++; i < plan_.files.size() && !stopping_; i = next_++) {
    work_on(plan_.files[i]);
  }
  const std::lock_guard lock(mutex_);
  working_--;
  all_done_.notify_all();
}

void Batch::work_on(const BatchFile &file) {
  if (!force_ && journal_.finished(file)) {
    const std::lock_guard lock(mutex_);
    count_.finished++;
    count_.bytes -= file.bytes;
    return;
  }
  // What of the file the counts hold so far.
  double seconds_told = 0;
  uint64_t bytes_told = 0;
  const auto tell = [&](double seconds, uint64_t bytes) {  // the mutex is held
    count_.seconds += seconds - seconds_told;
    count_.bytes_done += bytes - bytes_told;
    seconds_told = seconds;
    bytes_told = bytes;
  };
  const auto progress = [&](double seconds, double part) {
    constexpr double kTellEach = 10;  // seconds of speech; often enough for the eye
    if (seconds < seconds_told + kTellEach) return;
    const std::lock_guard lock(mutex_);
    tell(seconds, static_cast<uint64_t>(std::max(part, 0.0) * static_cast<double>(file.bytes)));
  };
  BatchResult result;
  std::string failure;
  try {
    result = make(file, progress);
  } catch (const std::exception &error) {
    failure = error.what();
  }
  if (stopping_ && !failure.empty()) return;  // the end of the process may have been its cause

  const std::lock_guard lock(mutex_);
  tell(result.seconds, file.bytes);
  count_.noted += result.notes.empty() ? 0 : 1;
  for (const std::string &note : result.notes) messages_.push_back({false, file.name, note});
  (failure.empty() ? count_.done : count_.failed)++;
  if (!failure.empty()) messages_.push_back({true, file.name, failure});
}

BatchResult Batch::make(const BatchFile &file, const Progress &progress) {
  const fs::path input = fs::path(plan_.input_folder) / file.name;
  const fs::path output = fs::path(plan_.output_folder) / file.output;
  std::error_code error;
  fs::create_directories(output.parent_path(), error);
  if (error) {
    throw Failure(output.parent_path().string() + ": cannot be created: " + error.message() +
                  "; check the permissions of the folder above it");
  }
  // A file that no batch has made stays, unless the user wants it overwritten.
  const bool ours = journal_.claimed(file);
  if (!ours && (force_ || !fs::exists(output, error))) journal_.claim(file);
  BatchResult result = work_(input.string(), output.string(), force_ || ours, progress);
  journal_.finish(file);
  return result;
}
