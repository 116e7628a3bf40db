// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// Which files a batch works on, and what becomes of them.
#ifndef KELP_TOOLS_KELP_BATCH_PLAN_H
#define KELP_TOOLS_KELP_BATCH_PLAN_H

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

// One of `of` parts that several machines work on without talking to each other. A file's part
// depends on its name within the input folder alone.
struct Shard {
  unsigned number = 1;  // 1 to `of`
  unsigned of = 1;

  [[nodiscard]] bool holds(const std::string &name) const;
  [[nodiscard]] std::string suffix() const;  // "-2-of-16"; empty where there is one part
};

// "K/N" into `shard`, or what is wrong with it.
[[nodiscard]] std::string parse_shard(const std::string &text, Shard &shard);

struct BatchFile {
  std::string name;    // within the input folder
  std::string output;  // within the output folder
  uint64_t bytes = 0;
};

// A file or folder that cannot be worked on.
struct BatchFault {
  std::string name;
  std::string text;  // names it in full
};

struct BatchPlan {
  std::string input_folder, output_folder;
  std::vector<BatchFile> files;  // the largest first, so that no long one is left for the end
  std::vector<BatchFault> faults;
  uint64_t in_other_shards = 0;  // files
  uint64_t others = 0;           // files of other kinds
};

// Files in all folders below `input_folder` whose names end in one of `endings` (lower case, with
// the point) in any case, and the same names with `ending` instead below `output_folder`. Names
// that begin with a point are left alone, links to folders not followed. Throws a Failure when the
// input folder cannot be read.
[[nodiscard]] BatchPlan plan_batch(const std::string &input_folder,
                                   const std::string &output_folder,
                                   std::span<const std::string_view> endings,
                                   const std::string &ending, const Shard &shard);

#endif  // KELP_TOOLS_KELP_BATCH_PLAN_H
