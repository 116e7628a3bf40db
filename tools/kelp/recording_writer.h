// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
#ifndef KELP_TOOLS_KELP_RECORDING_WRITER_H
#define KELP_TOOLS_KELP_RECORDING_WRITER_H

#include <cstdint>
#include <span>
#include <string>

#include "tools/kelp/output_file.h"
#include "tools/kelp/sndfile_handle.h"

enum class SpeechFile : uint8_t { wav, flac, raw };

// By the name: .flac, .raw, .pcm, .sw and .s16 say what they are, any other name is a WAV file.
[[nodiscard]] SpeechFile speech_file_by_name(const std::string &path);

// Writes speech of 8000 Hz, mono, 16 bits into an output.
class RecordingWriter {
 public:
  RecordingWriter(OutputFile &output, SpeechFile type);

  void write(std::span<const int16_t> samples);
  void finish();  // completes the header; the output can be committed when this returns

 private:
  OutputFile *output_;
  SndfileHandle file_;  // null where samples go out as they are
  bool limited_;        // to the 4 GiB of a WAV file
  uint64_t samples_ = 0;
};

#endif  // KELP_TOOLS_KELP_RECORDING_WRITER_H
