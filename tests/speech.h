// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// Recorded speech, and how well it comes through.
#ifndef KELP_TESTS_SPEECH_H
#define KELP_TESTS_SPEECH_H

#include "tests/recordings.h"
#include "tests/support.h"
#include "tools/quality/codec.h"
#include "tools/quality/quality.h"

namespace kelp_test {

// Where a recording is missing a test fails, or is skipped if the environment allows it.
class Speech : public testing::Test {
 protected:
  void SetUp() override {
    std::string missing;
    recordings = find_recordings(&missing);
    if (missing.empty()) return;
    if (std::getenv("KELP_ALLOW_MISSING_RECORDINGS") != nullptr) GTEST_SKIP() << missing;
    FAIL() << missing;
  }
  std::vector<recording> recordings;
};

// In dB, of speech that is encoded and decoded, against the samples that the encoder codes.
inline double segmental_snr(const pcm_samples &pcm) {
  namespace quality = kelp::quality;
  return quality::segmental_snr(quality::coded_speech(pcm), quality::decode(quality::encode(pcm)))
      .db;
}

}  // namespace kelp_test

#endif  // KELP_TESTS_SPEECH_H
