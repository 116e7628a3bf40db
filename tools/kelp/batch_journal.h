// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// What earlier runs of a batch have done, so that the next one goes on from there. It is kept in
// the output folder, a file for each shard: .kelp-batch/K-of-N
#ifndef KELP_TOOLS_KELP_BATCH_JOURNAL_H
#define KELP_TOOLS_KELP_BATCH_JOURNAL_H

#include <string>
#include <unordered_set>

#include "tools/kelp/batch_plan.h"

class BatchJournal {
 public:
  // Reads what all shards have written and opens this shard's file. `settings` are the options that
  // shape the outputs: what was made with others is not finished. Throws a Failure.
  BatchJournal(const BatchPlan &plan, const Shard &shard, const std::string &settings);
  ~BatchJournal();
  BatchJournal(const BatchJournal &) = delete;
  BatchJournal &operator=(const BatchJournal &) = delete;

  // Whether the output was made from this input, and both have the size and time they had then.
  [[nodiscard]] bool finished(const BatchFile &file) const;

  // Whether a batch has ever set out to make this output; any other file of that name is a
  // stranger.
  [[nodiscard]] bool claimed(const BatchFile &file) const;

  // Both throw a Failure when they cannot be written down.
  void claim(const BatchFile &file);
  void finish(const BatchFile &file);

 private:
  [[nodiscard]] std::string entry(const BatchFile &file) const;  // empty where a file is missing
  void append(const std::string &line);

  std::string input_folder_, output_folder_, path_;
  std::string settings_;
  int descriptor_;
  // Finished files by their whole entries, and claims; read before threads start, then constant.
  std::unordered_set<std::string> entries_, claims_;
};

#endif  // KELP_TOOLS_KELP_BATCH_JOURNAL_H
