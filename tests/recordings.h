// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// The recorded speech that tests and reports measure, from Debian's packages.
#ifndef KELP_TESTS_RECORDINGS_H
#define KELP_TESTS_RECORDINGS_H

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace kelp_test {

struct recording {
  std::string package, path;  // WAV or raw; 8 kHz, mono, 16 bits
  bool prompt;                // clean studio speech
  std::vector<int16_t> pcm;
};

inline std::vector<int16_t> read_pcm(const std::string &path) {
  std::ifstream file(path, std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(file), {}};
  size_t begin = 0;
  auto size = static_cast<uint32_t>(bytes.size());
  if (bytes.starts_with("RIFF")) {
    begin = bytes.find("data") + 8;
    std::memcpy(&size, &bytes[begin - 4], 4);
  }
  std::vector<int16_t> pcm(std::min<size_t>(size, bytes.size() - begin) / 2);
  if (!pcm.empty()) std::memcpy(pcm.data(), &bytes[begin], 2 * pcm.size());
  return pcm;
}

// A prompt in the voice that a -wav package installs, else in any other of its language. (Plain
// language names are links of another package.)
inline std::string prompt_path(const std::string &voice, const std::string &file) {
  namespace fs = std::filesystem;
  const fs::path sounds = "/usr/share/asterisk/sounds";
  std::string found = sounds / voice / file;
  std::error_code error;
  if (fs::exists(found)) return found;
  for (const fs::directory_entry &folder : fs::directory_iterator(sounds, error)) {
    if (!folder.path().filename().string().starts_with(voice.substr(0, 2))) continue;
    if (fs::exists(folder.path() / file)) return folder.path() / file;
  }
  return found;
}

// All of them, in a fixed order. What is missing has no samples and adds a line to `missing`.
inline std::vector<recording> find_recordings(std::string *missing) {
  std::vector<recording> all;
  for (const std::string voice : {"en_US_f_Allison", "es_MX_f_Allison", "fr_CA_f_June",
                                  "it_IT_m_Carlo", "ru_RU_f_IvrvoiceRU"}) {
    const std::string package = "asterisk-core-sounds-" + voice.substr(0, 2) + "-wav";
    for (const char *file : {"vm-msginstruct.wav", "demo-thanks.wav"}) {
      all.push_back({package, prompt_path(voice, file), true, {}});
    }
  }
  for (const char *name : {"forig", "morig", "hts1a", "hts2a"}) {
    all.push_back(
        {"codec2-examples", std::string("/usr/share/codec2/raw/") + name + ".raw", false, {}});
  }
  for (recording &one : all) {
    one.pcm = read_pcm(one.path);
    if (one.pcm.empty()) *missing += one.path + " is missing: install " + one.package + '\n';
  }
  return all;
}

// For reports: ends the program with a message where any is missing.
inline std::vector<recording> require_recordings() {
  std::string missing;
  std::vector<recording> all = find_recordings(&missing);
  if (missing.empty()) return all;
  std::fputs(missing.c_str(), stderr);
  std::exit(1);
}

}  // namespace kelp_test

#endif  // KELP_TESTS_RECORDINGS_H
