// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// Recordings as the encoder's own analysis sees them, frame by frame.
#ifndef KELP_TOOLS_LSP_TRAINING_SPEECH_H
#define KELP_TOOLS_LSP_TRAINING_SPEECH_H

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "kelp.h"
#include "spectrum.h"

namespace kelp::training {

enum class frame_kind : uint8_t {
  active,      // within 32 dB of the recording's 95th percentile
  quiet,       // below that
  fell_back,   // the root search failed: the LSPs are those of the frame before
  overloaded,  // above -4.4 dBov, where the encoder's autocorrelations lose their meaning
};

struct speech_frame {
  std::array<int32_t, kOrder> lsp;     // the encoder's
  std::array<int64_t, kOrder> weight;  // the encoder's
  std::array<float, kOrder> exact;     // double-precision analysis of the same windowed samples
  frame_kind kind;
};

// Frames of one recording: 16-bit mono, 8 kHz, WAV or raw (.raw, .s16). Empty, with a message on
// stderr, when it cannot be read.
std::vector<speech_frame> analyse_recording(const std::string &path);

// The recordings named in a list file: one path a line, then a tab and its condition, then a tab
// and its source, as far as they are known.
struct recording {
  std::string path;
  std::string condition;
  std::string source;
};
std::vector<recording> read_list(const std::string &path);

// Frames of each recording of a list, on all cores.
std::vector<std::vector<speech_frame>> analyse_list(const std::vector<recording> &list);

// The active frames of all recordings of a list file, in its order.
std::vector<speech_frame> active_frames(const std::string &list_path);

}  // namespace kelp::training

#endif  // KELP_TOOLS_LSP_TRAINING_SPEECH_H
