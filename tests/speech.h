// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// Recorded speech, from Debian's packages at test time, and how well it comes through.
#ifndef KELP_TESTS_SPEECH_H
#define KELP_TESTS_SPEECH_H

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "enc/encoder_state.h"
#include "tests/support.h"

namespace kelp_test {

struct recording {
  std::string package, path;  // WAV or raw; 8 kHz, mono, 16 bits
  bool prompt;                // clean studio speech
  samples pcm;
};

inline samples read_pcm(const std::string &path) {
  std::ifstream file(path, std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(file), {}};
  size_t begin = 0;
  auto size = static_cast<uint32_t>(bytes.size());
  if (bytes.starts_with("RIFF")) {
    begin = bytes.find("data") + 8;
    std::memcpy(&size, &bytes[begin - 4], 4);
  }
  samples pcm(std::min<size_t>(size, bytes.size() - begin) / 2);
  if (!pcm.empty()) std::memcpy(pcm.data(), &bytes[begin], 2 * pcm.size());
  return pcm;
}

// A prompt in the voice that a -wav package installs, else in any other of its language. (Plain
// language names are links of another package.)
inline std::string prompt_path(const std::string &voice, const std::string &file) {
  namespace fs = std::filesystem;
  const fs::path sounds = "/usr/share/asterisk/sounds";
  const std::string found = sounds / voice / file;
  std::error_code error;
  if (fs::exists(found)) return found;
  for (const fs::directory_entry &folder : fs::directory_iterator(sounds, error)) {
    if (!folder.path().filename().string().starts_with(voice.substr(0, 2))) continue;
    if (fs::exists(folder.path() / file)) return folder.path() / file;
  }
  return found;
}

// Where a recording is missing a test fails, or is skipped if the environment allows it.
class Speech : public testing::Test {
 protected:
  void SetUp() override {
    for (const std::string voice : {"en_US_f_Allison", "es_MX_f_Allison", "fr_CA_f_June",
                                    "it_IT_m_Carlo", "ru_RU_f_IvrvoiceRU"}) {
      const std::string package = "asterisk-core-sounds-" + voice.substr(0, 2) + "-wav";
      for (const char *file : {"vm-msginstruct.wav", "demo-thanks.wav"}) {
        add({package, prompt_path(voice, file), true, {}});
      }
    }
    for (const char *name : {"forig", "morig", "hts1a", "hts2a"}) {
      add({"codec2-examples", std::string("/usr/share/codec2/raw/") + name + ".raw", false, {}});
    }
    if (missing_.empty()) return;
    if (std::getenv("KELP_ALLOW_MISSING_RECORDINGS") != nullptr) GTEST_SKIP() << missing_;
    FAIL() << missing_;
  }
  std::vector<recording> recordings;

 private:
  void add(recording source) {
    source.pcm = read_pcm(source.path);
    if (source.pcm.empty())
      missing_ += source.path + " is missing: install " + source.package + '\n';
    recordings.push_back(std::move(source));
  }
  std::string missing_;
};

// Segmental signal-to-noise ratio in dB of speech that is encoded and decoded, against the samples
// that the encoder codes: the mean over active frames, each held to -10 .. 35 dB. Active is what
// lies at most 32 dB below the 95th percentile; pauses would only measure the noise in them.
inline double segmental_snr(const samples &pcm) {
  encoder encoder;
  decoder decoder;
  const auto &state = static_cast<kelp::encoder_handle *>(encoder.handle)->state;
  std::vector<std::pair<double, double>> frames;  // energies of signal and error
  for (size_t at = 0; at + KELP_FRAME_SAMPLES <= pcm.size(); at += KELP_FRAME_SAMPLES) {
    int32_t coded[KELP_FRAME_SAMPLES];
    std::copy_n(state.speech, kelp::kSpeechHistory, coded);
    const frame decoded = decoder.decode(encoder.encode(&pcm[at]));
    std::copy_n(state.speech + kelp::kSpeechHistory, KELP_FRAME_SAMPLES - kelp::kSpeechHistory,
                coded + kelp::kSpeechHistory);
    std::pair<double, double> energy = {0, 1e-9};
    for (size_t n = 0; n < KELP_FRAME_SAMPLES; n++) {
      energy.first += std::pow(4.0 * coded[n], 2);
      energy.second += std::pow(4.0 * coded[n] - decoded[n], 2);
    }
    frames.push_back(energy);
  }
  std::vector<std::pair<double, double>> sorted = frames;
  std::sort(sorted.begin(), sorted.end());
  const double active = sorted[(frames.size() - 1) * 95 / 100].first * std::pow(10, -3.2);
  double sum = 0, count = 0;
  for (const auto &[signal, error] : frames) {
    if (signal < active) continue;
    sum += std::clamp(10 * std::log10(signal / error), -10.0, 35.0);
    count++;
  }
  return sum / count;
}

}  // namespace kelp_test

#endif  // KELP_TESTS_SPEECH_H
