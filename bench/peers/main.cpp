// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// libkelp among other speech codecs:   kelp_peers [ROUNDS]
//
// In one process and on one thread all codecs take turns, second by second, over the same speech
// (bench/speech.h): each of them on its own copy and, in every round, from a new start; who begins
// changes from second to second. A figure is the thread's processor time: of every second the
// median over the rounds, in all per 20 ms. A ratio is the codec's time over libkelp's, taken
// second by second within the turn, so that it holds while the machine's speed wanders: above 1
// libkelp is the faster. Conversation is encoded with what the codec has for pauses; decoded is
// what the codec made of active speech.
//
// The other codecs are Debian's libraries with whatever flags Debian builds them with.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <utility>
#include <vector>

#include "bench/peers/codec.h"
#include "bench/speech.h"
#include "bench/timing.h"

namespace {

using kelp::bench::thread_seconds;
using kelp::peers::codec;
using kelp::peers::codecs;
using kelp::peers::coded_frame;
using kelp::peers::kFrame;
using samples = std::vector<int16_t>;

constexpr size_t kBlock = 50;  // frames

// One codec's pass over the speech.
struct pass {
  codec coder;
  samples pcm;
  std::vector<coded_frame> coded;
};

struct result {
  std::vector<std::vector<double>> seconds;  // of every block by round
  std::vector<coded_frame> coded;            // last round's
  samples pcm;
  double us = 0, ratio = 0;
};

// Medians over rounds of the times, and of the ratios to libkelp's time in the same turn.
void sum_up(result *one, const result &libkelp) {
  double sum = 0, libkelp_sum = 0, weighted = 0;
  for (size_t block = 0; block < one->seconds.size(); block++) {
    const std::vector<double> &theirs = one->seconds[block], &ours = libkelp.seconds[block];
    std::vector<double> ratios;
    for (size_t round = 0; round < ours.size(); round++)
      ratios.push_back(theirs[round] / ours[round]);
    sum += kelp::bench::median(theirs);
    libkelp_sum += kelp::bench::median(ours);
    weighted += kelp::bench::median(ratios) * kelp::bench::median(ours);
  }
  one->us = 1e6 * sum / static_cast<double>(one->seconds.size() * kBlock);
  one->ratio = weighted / libkelp_sum;
}

// All codecs over frames 0 .. `frames` - 1 by turns: start(codec) gives the pass, and
// code(pass, frame) runs a frame.
template <typename Start, typename Code>
std::vector<result> take_turns(size_t frames, size_t rounds, const Start &start, const Code &code) {
  const size_t count = codecs().size();
  const size_t blocks = frames / kBlock;
  std::vector<result> results(count);
  for (result &one : results) one.seconds.resize(blocks);
  for (size_t round = 0; round < rounds; round++) {
    std::vector<pass> passes;
    for (size_t c = 0; c < count; c++) passes.push_back(start(c));
    for (size_t block = 0; block < blocks; block++) {
      for (size_t turn = 0; turn < count; turn++) {
        const size_t c = (round + block + turn) % count;
        const double before = thread_seconds();
        for (size_t k = 0; k < kBlock; k++) code(&passes[c], block * kBlock + k);
        results[c].seconds[block].push_back(thread_seconds() - before);
      }
    }
    for (size_t c = 0; c < count; c++) {
      results[c].coded = std::move(passes[c].coded);
      results[c].pcm = std::move(passes[c].pcm);
    }
  }
  for (result &one : results) sum_up(&one, results[0]);
  return results;
}

std::vector<result> encode(const samples &pcm, bool conversation, size_t rounds) {
  const size_t frames = pcm.size() / kFrame;
  return take_turns(
      frames, rounds,
      [&](size_t c) {
        return pass{codecs()[c].create(conversation), pcm, std::vector<coded_frame>(frames)};
      },
      [](pass *one, size_t k) { one->coder.encode(&one->pcm[k * kFrame], &one->coded[k]); });
}

std::vector<result> decode(const std::vector<result> &encoded, size_t rounds) {
  const size_t frames = encoded[0].coded.size();
  return take_turns(
      frames, rounds,
      [&](size_t c) {
        return pass{codecs()[c].create(false), samples(frames * kFrame), encoded[c].coded};
      },
      [](pass *one, size_t k) { one->coder.decode(one->coded[k], &one->pcm[k * kFrame]); });
}

double kilobits(const result &encoded) {
  double bytes = 0;
  for (const coded_frame &frame : encoded.coded) bytes += frame.length[0] + frame.length[1];
  return bytes * 8 / 20 / static_cast<double>(encoded.coded.size());
}

void print(const std::vector<result> &active, const std::vector<result> &conversation,
           const std::vector<result> &decoded) {
  std::printf("\n%26s %-21s %-21s %s\n", "", "encode active", "encode conversation",
              "decode active");
  std::printf("%-22s %3s %6s %6s %6s  %6s %6s %6s  %6s %6s\n", "", "", "us", "ratio", "kbit/s",
              "us", "ratio", "kbit/s", "us", "ratio");
  for (size_t c = 0; c < codecs().size(); c++) {
    std::printf("%-22s %3s %6.1f %6.2f %6.1f  %6.1f %6.2f %6.1f  %6.1f %6.2f\n", codecs()[c].name,
                codecs()[c].in_conversation, active[c].us, active[c].ratio, kilobits(active[c]),
                conversation[c].us, conversation[c].ratio, kilobits(conversation[c]), decoded[c].us,
                decoded[c].ratio);
  }
}

// A codec that was not really running would be fast.
void check_decoded(const std::vector<result> &decoded, const samples &pcm) {
  const auto energy = [](const samples &all) {
    double sum = 0;
    for (const int16_t sample : all) sum += 1.0 * sample * sample;
    return sum;
  };
  for (size_t c = 0; c < decoded.size(); c++) {
    const double ratio = energy(decoded[c].pcm) / energy(pcm);
    if (ratio > 0.25 && ratio < 4) continue;
    std::fprintf(stderr, "%s: what comes out is not at the speech's level\n", codecs()[c].name);
    std::exit(1);
  }
}

}  // namespace

int main(int argc, char **argv) {
  const unsigned long rounds = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 11;
  if (argc > 2 || rounds == 0) {
    std::fprintf(stderr, "usage: kelp_peers [ROUNDS]\n");
    return 2;
  }
  const kelp::bench::speech speech = kelp::bench::load_speech();
  kelp::bench::print_setting(speech);
  std::printf("rounds        %lu; us of processor time per 20 ms, ratio to libkelp\n", rounds);
  const std::vector<result> active = encode(speech.active, false, rounds);
  const std::vector<result> conversation = encode(speech.conversation, true, rounds);
  const std::vector<result> decoded = decode(active, rounds);
  check_decoded(decoded, speech.active);
  print(active, conversation, decoded);
  return 0;
}
