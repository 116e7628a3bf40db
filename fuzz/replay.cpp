// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// Runs a fuzz target without an engine: on files and the files in folders, or on random inputs.
//   kelp_fuzz_TARGET FILE_OR_FOLDER...
//   kelp_fuzz_TARGET --random INPUTS
//   kelp_fuzz_TARGET --random-frames FRAMES    as many inputs as make so many packets or PCM frames
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "fuzz/fuzzing.h"

namespace {

using kelp_fuzz::packet;

void run(const packet &bytes) {
  LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
}

bool run_file(const std::filesystem::path &path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) return false;
  run(packet{std::istreambuf_iterator<char>(file), {}});
  return true;
}

// One input of up to 400 bytes for every seed from 0 up.
void run_random(uint64_t inputs, uint64_t frames) {
  uint64_t seed = 0;
  for (; seed < inputs || kelp_fuzz::input::frames < frames; seed++) {
    kelp_fuzz::random_numbers random(seed);
    packet bytes(1 + random.below(400));
    for (uint8_t &byte : bytes) byte = static_cast<uint8_t>(random.next());
    run(bytes);
  }
  std::printf("%llu random inputs, %llu frames\n", static_cast<unsigned long long>(seed),
              static_cast<unsigned long long>(kelp_fuzz::input::frames));
}

int run_paths(int count, char **paths) {
  namespace fs = std::filesystem;
  size_t inputs = 0;
  for (int i = 0; i < count; i++) {
    std::vector<fs::path> files = {paths[i]};
    if (fs::is_directory(files[0])) {
      files.assign(fs::directory_iterator(paths[i]), fs::directory_iterator{});
    }
    for (const fs::path &file : files) {
      if (!run_file(file)) {
        std::fprintf(stderr, "%s: cannot be read\n", file.c_str());
        return 1;
      }
      inputs++;
    }
  }
  std::printf("%zu inputs\n", inputs);
  return inputs == 0 ? 1 : 0;
}

}  // namespace

int main(int argc, char **argv) {
  const std::string first = argc > 1 ? argv[1] : "";
  if (!first.starts_with("--random")) return run_paths(argc - 1, argv + 1);
  const uint64_t count = argc > 2 ? std::strtoull(argv[2], nullptr, 10) : 0;
  first == "--random" ? run_random(count, 0) : run_random(0, count);
  return count == 0 ? 1 : 0;
}
