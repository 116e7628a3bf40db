// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "speech.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <optional>
#include <sstream>
#include <string_view>

#include "enc/analysis.h"
#include "enc/lsp_quant.h"
#include "enc/preprocess.h"
#include "parallel.h"
#include "tables/analysis_tables.h"

namespace kelp::training {
namespace {

constexpr size_t kFrame = KELP_FRAME_SAMPLES;
constexpr double kActiveRange_db = 32;
constexpr double kOverload_dbov = -4.4;

// Samples of a plain 16-bit WAV's data chunk, or of a raw file.
std::optional<std::vector<int16_t>> read_samples(const std::string &path) {
  std::ifstream file(path, std::ios::binary);
  std::string bytes((std::istreambuf_iterator<char>(file)), {});
  if (!file && !file.eof()) return std::nullopt;
  size_t begin = 0;
  size_t end = bytes.size();
  if (bytes.starts_with("RIFF")) {
    size_t chunk = 12;
    for (;;) {
      if (chunk + 8 > bytes.size()) return std::nullopt;
      uint32_t size = 0;
      std::memcpy(&size, bytes.data() + chunk + 4, 4);
      const std::string_view id(bytes.data() + chunk, 4);
      if (id == "fmt ") {
        constexpr std::string_view kPcmMono8k("\x01\0\x01\0\x40\x1F\0\0", 8);
        if (std::string_view(bytes).substr(chunk + 8, 8) != kPcmMono8k) return std::nullopt;
      }
      if (id == "data") {
        begin = chunk + 8;
        end = std::min<size_t>(bytes.size(), begin + size);
        break;
      }
      chunk += 8 + size + (size & 1);
    }
  }
  std::vector<int16_t> samples((end - begin) / 2);
  std::memcpy(samples.data(), bytes.data() + begin, samples.size() * 2);
  return samples;
}

double mean_square(const int16_t *x) {
  double sum = 0;
  for (size_t n = 0; n < kFrame; n++) sum += static_cast<double>(x[n]) * x[n];
  return sum / kFrame;
}

// The windowed samples as the encoder rounds them.
std::array<double, kFrame> windowed(const int32_t *speech) {
  std::array<double, kFrame> x{};
  for (size_t n = 0; n < kFrame; n++) {
    const size_t i = std::min(n, kFrame - 1 - n);
    x[n] = std::floor(kAnalysisWindow_q15[i] * static_cast<double>(speech[n]) / 32768 + 0.5);
  }
  return x;
}

}  // namespace

std::vector<speech_frame> analyse_recording(const std::string &path) {
  const auto samples = read_samples(path);
  if (!samples) {
    std::cerr << path << ": not a readable WAV file of 16-bit mono PCM at 8 kHz; left out\n";
    return {};
  }
  const auto state = std::make_unique<encoder_state>();
  const auto work = std::make_unique<encoder_frame>();
  work->kernels = &encoder_kernels_for(best_instruction_set());
  int32_t *const speech = state->speech + kSpeechHistory;
  std::vector<speech_frame> frames;
  std::vector<double> level_db;
  for (size_t at = 0; at + kFrame <= samples->size(); at += kFrame) {
    const int16_t *const pcm = samples->data() + at;
    kelp_pre_proc(&state->preprocess, pcm, speech);
    scale_speech(speech);
    kelpe_lsp(work.get(), *state);
    const auto x = windowed(speech);
    const auto exact = analyse(x.data(), x.size());
    if (!exact) continue;

    speech_frame frame{};
    std::copy_n(work->lsp, kOrder, frame.lsp.begin());
    lsp_weights(*work, frame.weight.data());
    std::copy(exact->begin(), exact->end(), frame.exact.begin());
    const double level = 10 * std::log10(mean_square(pcm) / (32768.0 * 32768) + 1e-12);
    int32_t unused[kOrder];
    frame.kind = level > kOverload_dbov                              ? frame_kind::overloaded
                 : !find_lsps(*work->kernels, work->lpc_q10, unused) ? frame_kind::fell_back
                                                                     : frame_kind::active;
    frames.push_back(frame);
    level_db.push_back(level);
    std::copy_n(work->lsp, kOrder, state->previous_lsp);
  }
  if (frames.empty()) return frames;

  std::vector<double> sorted = level_db;
  const size_t rank = sorted.size() * 95 / 100;
  std::nth_element(sorted.begin(), sorted.begin() + static_cast<ptrdiff_t>(rank), sorted.end());
  const double threshold = sorted[rank] - kActiveRange_db;
  for (size_t i = 0; i < frames.size(); i++) {
    if (frames[i].kind == frame_kind::active && level_db[i] < threshold) {
      frames[i].kind = frame_kind::quiet;
    }
  }
  return frames;
}

std::vector<recording> read_list(const std::string &path) {
  std::vector<recording> list;
  std::ifstream file(path);
  for (std::string line; std::getline(file, line);) {
    if (line.empty()) continue;
    std::istringstream fields(line);
    recording one;
    std::getline(fields, one.path, '\t');
    std::getline(fields, one.condition, '\t');
    std::getline(fields, one.source, '\t');
    list.push_back(std::move(one));
  }
  return list;
}

std::vector<std::vector<speech_frame>> analyse_list(const std::vector<recording> &list) {
  std::vector<std::vector<speech_frame>> frames(list.size());
  in_chunks(list.size(), [&](size_t, size_t begin, size_t end) {
    for (size_t i = begin; i < end; i++) frames[i] = analyse_recording(list[i].path);
  });
  return frames;
}

std::vector<speech_frame> active_frames(const std::string &list_path) {
  std::vector<speech_frame> frames;
  for (const auto &all : analyse_list(read_list(list_path))) {
    std::copy_if(all.begin(), all.end(), std::back_inserter(frames),
                 [](const speech_frame &f) { return f.kind == frame_kind::active; });
  }
  return frames;
}

}  // namespace kelp::training
