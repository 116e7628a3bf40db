// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
#ifndef KELP_TOOLS_KELP_RECORDING_H
#define KELP_TOOLS_KELP_RECORDING_H

#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "tools/kelp/output_file.h"

// libsndfile's handle, named here so that its header stays inside recording.cpp.
using SndfileHandle = struct sf_private_tag;

struct SndfileClose {
  void operator()(SndfileHandle *file) const;
};

// Reads a WAV file of 8000 Hz, mono, 16-bit PCM; any other file is refused at opening.
class RecordingReader {
 public:
  explicit RecordingReader(std::string path);

  // Fills `samples` from the front; fewer than asked for only at the end of the recording.
  size_t read(std::span<int16_t> samples);

 private:
  std::string path_;
  std::unique_ptr<SndfileHandle, SndfileClose> file_;
};

// Writes a WAV file of 8000 Hz, mono, 16-bit PCM into an output.
class RecordingWriter {
 public:
  explicit RecordingWriter(OutputFile &output);

  void write(std::span<const int16_t> samples);
  void finish();  // completes the header; the output can be committed when this returns

 private:
  std::string path_;  // for messages
  std::unique_ptr<SndfileHandle, SndfileClose> file_;
  uint64_t samples_ = 0;
};

#endif  // KELP_TOOLS_KELP_RECORDING_H
