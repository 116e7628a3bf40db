// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// Prints the checksums of what this build computes. Two builds that print the same text give the
// same bits.   kelp_checksums SPEECH.raw BROKEN_PACKETS   (raw: 16-bit samples, 8000 Hz)
#include "tests/checksums.h"

#include "tests/recordings.h"

using namespace kelp_test;

int main(int argc, char **argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: kelp_checksums SPEECH.raw BROKEN_PACKETS\n");
    return 2;
  }
  const pcm_samples pcm = read_pcm(argv[1]);
  const uint64_t packets = std::strtoull(argv[2], nullptr, 10);
  if (pcm.size() < KELP_FRAME_SAMPLES || packets == 0) {
    std::fprintf(stderr, "%s: no speech in it, or no packets asked for\n", argv[1]);
    return 1;
  }
  const auto print = [](const char *name, uint64_t sum) {
    std::printf("%-12s %016llx\n", name, static_cast<unsigned long long>(sum));
  };
  std::printf("%zu frames of speech, %s broken packets\n", pcm.size() / KELP_FRAME_SAMPLES,
              argv[2]);
  print("tables", exported_tables());
  print("arithmetic", arithmetic(100000));
  const auto [sent, decoded] = code_speech(pcm);
  print("packets", sent);
  print("samples", decoded);
  print("broken", decode_broken_packets(packets));
  return 0;
}
