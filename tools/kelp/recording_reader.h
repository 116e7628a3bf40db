// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
#ifndef KELP_TOOLS_KELP_RECORDING_READER_H
#define KELP_TOOLS_KELP_RECORDING_READER_H

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "tools/kelp/byte_source.h"
#include "tools/kelp/failure.h"
#include "tools/kelp/resampler.h"
#include "tools/kelp/sndfile_handle.h"

// What to take of a recording with several channels. By default their mean, which is noted.
enum class Channel : uint8_t { unset, left, right, mix };

struct RecordingFormat {
  bool raw = false;  // no header: 16-bit little-endian samples, 8000 Hz, mono
  Channel channel = Channel::unset;
};

// Reads any file that libsndfile reads as speech for the codec: 8000 Hz, mono, scaled to 16 bits
// but neither rounded nor clipped. In constant memory, however long it is.
class RecordingReader {
 public:
  RecordingReader(const std::string &path, const RecordingFormat &format);  // "-": standard input

  // Fills `samples` from the front; fewer than asked for only at the end of the recording.
  size_t read(std::span<double> samples);

  // Length by the header, in samples of 8000 Hz; 0 where nothing tells it.
  [[nodiscard]] uint64_t expected_samples() const;

  // What the user should know of how it was read.
  [[nodiscard]] const std::vector<std::string> &notes() const { return notes_; }

 private:
  void open(const RecordingFormat &format);
  void choose_channel(Channel channel);
  void read_block();
  [[nodiscard]] Failure needs_length() const;

  std::string path_;  // for messages
  ByteSource source_;
  SndfileHandle file_;
  std::unique_ptr<Resampler> resampler_;  // null at 8000 Hz
  std::vector<std::string> notes_;
  int channels_ = 0;
  int rate_ = 0;
  std::vector<double> gains_;        // of the channels in the sum
  std::vector<double> interleaved_;  // one block as the file has it
  std::vector<double> block_;        // the same, one channel
  std::span<const double> rest_;     // of the block, still to be taken
  bool at_end_ = false;
  int blocks_behind_end_ = 0;  // that were read after a pipe had ended
};

// The nearest 16-bit samples; values beyond the range take its end.
void round_to_pcm(std::span<const double> samples, std::span<int16_t> pcm);

#endif  // KELP_TOOLS_KELP_RECORDING_READER_H
