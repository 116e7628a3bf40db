// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "tools/kelp/batch_plan.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <map>
#include <system_error>

#include "tools/kelp/failure.h"
#include "tools/kelp/hash.h"
#include "tools/kelp/text.h"

namespace fs = std::filesystem;

namespace {

bool is_hidden(const fs::path &path) {
  return path.filename().string().starts_with('.');
}

std::string folder_fault(const fs::path &path, const std::error_code &error) {
  return path.string() + ": cannot be listed: " + error.message() + "; check its permissions";
}

// Everything below a folder: regular files, and links to such.
class Finder {
 public:
  Finder(BatchPlan &plan, std::span<const std::string_view> endings)
      : plan_(plan), endings_(endings) {}

  void look_into(const fs::path &folder) {
    std::error_code error;
    fs::directory_iterator entry(folder, error);
    for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
      if (is_hidden(entry->path())) continue;
      std::error_code none;
      if (entry->is_directory(none) && !entry->is_symlink(none)) {
        look_into(entry->path());
      } else if (entry->is_regular_file(none)) {
        add(*entry);
      }
    }
    if (error) plan_.faults.push_back({name_of(folder), folder_fault(folder, error)});
  }

 private:
  void add(const fs::directory_entry &entry) {
    const std::string ending = lower_case(entry.path().extension().string());
    if (std::find(endings_.begin(), endings_.end(), ending) == endings_.end()) {
      plan_.others++;
      return;
    }
    BatchFile file;
    file.name = name_of(entry.path());
    std::error_code error;
    file.bytes = entry.file_size(error);
    if (error) file.bytes = 0;  // the work on it will say what is wrong
    plan_.files.push_back(file);
  }

  [[nodiscard]] std::string name_of(const fs::path &path) const {
    return path.lexically_relative(plan_.input_folder).generic_string();
  }

  BatchPlan &plan_;
  std::span<const std::string_view> endings_;
};

}  // namespace

bool Shard::holds(const std::string &name) const {
  return hash_of(name) % of == number - 1;
}

std::string Shard::suffix() const {
  return of == 1 ? "" : "-" + std::to_string(number) + "-of-" + std::to_string(of);
}

std::string parse_shard(const std::string &text, Shard &shard) {
  const char *const end = text.data() + text.size();
  const auto [slash, fault] = std::from_chars(text.data(), end, shard.number);
  if (fault == std::errc() && slash != end && *slash == '/') {
    const auto [rest, other_fault] = std::from_chars(slash + 1, end, shard.of);
    if (other_fault == std::errc() && rest == end && shard.number >= 1 && shard.number <= shard.of)
      return {};
  }
  return text + ": is no part; write K/N, the K-th of N parts, with K from 1 to N";
}

BatchPlan plan_batch(const std::string &input_folder, const std::string &output_folder,
                     std::span<const std::string_view> endings, const std::string &ending,
                     const Shard &shard) {
  std::error_code error;
  if (!fs::is_directory(input_folder, error)) {
    throw Failure(input_folder + ": is no folder; name one that holds the files to work on");
  }
  const fs::directory_iterator probe(input_folder, error);
  if (error) throw Failure(folder_fault(input_folder, error));

  BatchPlan plan;
  plan.input_folder = input_folder;
  plan.output_folder = output_folder;
  Finder(plan, endings).look_into(input_folder);

  // Outputs are given by name, whatever the order of the folder, so that every shard of it sees the
  // same files in conflict.
  std::sort(plan.files.begin(), plan.files.end(),
            [](const BatchFile &a, const BatchFile &b) { return a.name < b.name; });
  std::map<std::string, std::string> taken;
  std::vector<BatchFile> mine;
  for (BatchFile &file : plan.files) {
    file.output = fs::path(file.name).replace_extension(ending).generic_string();
    const auto [other, is_new] = taken.emplace(file.output, file.name);
    if (!shard.holds(file.name)) {
      plan.in_other_shards++;
    } else if (is_new) {
      mine.push_back(std::move(file));
    } else {
      plan.faults.push_back({file.name, (fs::path(input_folder) / file.name).string() +
                                            ": its output " + file.output + " is that of " +
                                            other->second + " too; rename one"});
    }
  }
  plan.files = std::move(mine);
  std::stable_sort(plan.files.begin(), plan.files.end(),
                   [](const BatchFile &a, const BatchFile &b) { return a.bytes > b.bytes; });
  return plan;
}
