// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// Whole folders through encoder or decoder, on several threads.
#ifndef KELP_TOOLS_KELP_BATCH_H
#define KELP_TOOLS_KELP_BATCH_H

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "tools/kelp/batch_journal.h"
#include "tools/kelp/batch_plan.h"
#include "tools/kelp/progress.h"

// What a file's work found: the length of its speech, and what the user should know of it.
struct BatchResult {
  double seconds = 0;
  std::vector<std::string> notes;
};

// The work on one file; `force` allows it to overwrite its output. Throws a Failure when it cannot
// do it. Called on several threads.
using BatchWork = std::function<BatchResult(const std::string &input, const std::string &output,
                                            bool force, const Progress &progress)>;

// What became of one file, where there is something to tell.
struct BatchMessage {
  bool failed;  // else a note on a file that is done
  std::string name;
  std::string text;
};

// How far a batch is.
struct BatchCount {
  uint64_t files = 0;     // to do in all
  uint64_t done = 0;      // by this run
  uint64_t finished = 0;  // by earlier runs
  uint64_t failed = 0;
  uint64_t noted = 0;       // done, with a note
  uint64_t bytes = 0;       // of the inputs that no earlier run finished
  uint64_t bytes_done = 0;  // of those
  double seconds = 0;       // of speech, by this run
};

class Batch {
 public:
  Batch(const BatchPlan &plan, BatchJournal &journal, BatchWork work, bool force);
  ~Batch();  // waits for the files that are being worked on
  Batch(const Batch &) = delete;
  Batch &operator=(const Batch &) = delete;

  void start(unsigned threads);

  // Waits until all is done, but not longer than this: whether it is.
  bool wait_for(std::chrono::milliseconds time);

  // Takes up no more files and tells of no more failures: the process is about to end.
  void stop() { stopping_ = true; }

  [[nodiscard]] BatchCount count() const;

  // Those that came up since the last call.
  [[nodiscard]] std::vector<BatchMessage> take_messages();

 private:
  void work_on_files();
  void work_on(const BatchFile &file);
  BatchResult make(const BatchFile &file, const Progress &progress);

  const BatchPlan &plan_;
  BatchJournal &journal_;
  BatchWork work_;
  bool force_;
  std::atomic<size_t> next_ = 0;
  std::atomic<bool> stopping_ = false;

  mutable std::mutex mutex_;  // guards what follows
  std::condition_variable all_done_;
  unsigned working_ = 0;
  BatchCount count_;
  std::vector<BatchMessage> messages_;

  std::vector<std::thread> threads_;
};

#endif  // KELP_TOOLS_KELP_BATCH_H
