// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// Writes the seed corpus, inputs from which a fuzzer starts: synthetic signals and sequences that
// reach all of the codec.   kelp_fuzz_make_corpus FOLDER
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

#include "fuzz/fuzzing.h"

using namespace kelp_fuzz;

namespace {

std::filesystem::path folder;

void write(const std::string &target, const std::string &name, const packet &bytes) {
  std::filesystem::create_directories(folder / target);
  std::ofstream file(folder / target / name, std::ios::binary);
  for (const uint8_t byte : bytes) file.put(static_cast<char>(byte));
  if (!file.flush()) throw std::runtime_error("cannot write below " + folder.string());
}

void append(packet *to, std::initializer_list<int> bytes) {
  for (const int byte : bytes) to->push_back(static_cast<uint8_t>(byte));
}

// Frames of a kind of signal (see signal_source) with two numbers each: its parameter, and what the
// target reads after a frame.
packet frames(int count, int kind, int parameter, int step, int after) {
  packet script;
  for (int f = 0; f < count; f++) append(&script, {kind, parameter + f * step, f % 5 ? 0 : after});
  return script;
}

packet joined(packet first, const packet &second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

// The packets of an encoder as whole packets of the decoder's target, some lost between them.
packet sent_packets(const packet &script) {
  input in(script.data(), script.size());
  signal_source signal;
  encoder encoder;
  packet result;
  for (int f = 0; !in.done(); f++) {
    const packet bytes = encoder.encode(signal.next(&in).data());
    in.byte();
    if (f % 7 == 5) append(&result, {0, 0});
    append(&result, {1, 0, static_cast<int>(bytes.size()) - 1});
    result.insert(result.end(), bytes.begin(), bytes.end());
  }
  return result;
}

}  // namespace

int main(int argc, char **argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: kelp_fuzz_make_corpus FOLDER\n");
    return 2;
  }
  folder = argv[1];
  const packet voice = joined(frames(14, 11, 34, 16, 250), frames(10, 2, 0, 0, 34));
  const packet noise = joined(frames(10, 5, 0, 1, 203), frames(6, 6, 7, 0, 70));
  const packet hard = joined(frames(8, 4, 9, 30, 239), frames(8, 8, 60, 11, 1));
  for (const auto &[name, script] : {std::pair{"voice", voice}, {"noise", noise}, {"hard", hard}}) {
    write("encode_frames", name, joined({static_cast<uint8_t>(name[0] % 3)}, script));
    write("encode_decode", name, script);
    write("decode_packets", name, sent_packets(script));
  }
  packet every_kind, calls;
  for (int kind = 2; kind < 12; kind++) {
    append(&every_kind, {kind, kind & 3, 17, 200 - kind});
    if (kind < 4) every_kind.resize(every_kind.size() + 40, 0x35);
  }
  write("decode_packets", "every_kind", every_kind);
  for (int i = 0; i < 48; i++) append(&calls, {i, i < 4 ? 0 : i / 3, i * 37});
  write("handle_calls", "every_call", calls);
  random_numbers random(1);
  int what = 0;
  for (const char *name : {"read", "read_le", "write", "misuse"}) {
    packet bits = {static_cast<uint8_t>(what++), 39};
    for (int i = 0; i < 150; i++) bits.push_back(static_cast<uint8_t>(random.next()));
    write("bit_streams", name, bits);
  }
  return 0;
}
