// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "tools/kelp/recording_writer.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <sndfile.h>

#include "kelp.h"
#include "tools/kelp/failure.h"
#include "tools/kelp/text.h"

namespace {

constexpr const char *kMakeRoom = "; make room or write to another place";

// 8000 Hz, mono, 16-bit PCM, of unknown length: what fits into a pipe.
constexpr std::array<uint8_t, 44> kEndlessWavHeader = {
    'R', 'I', 'F', 'F', 0xFF, 0xFF, 0xFF, 0xFF, 'W', 'A',  'V',  'E',  'f',  'm', 't',
    ' ', 16,  0,   0,   0,    1,    0,    1,    0,   0x40, 31,   0,    0,    128, 62,
    0,   0,   2,   0,   16,   0,    'd',  'a',  't', 'a',  0xFF, 0xFF, 0xFF, 0xFF};
static_assert(0x40 + 31 * 256 == KELP_SAMPLE_RATE_HZ && 128 + 62 * 256 == 2 * KELP_SAMPLE_RATE_HZ);

}  // namespace

SpeechFile speech_file_by_name(const std::string &path) {
  const std::string extension = lower_case(std::filesystem::path(path).extension().string());
  if (extension == ".flac") return SpeechFile::flac;
  const auto raw = {".raw", ".pcm", ".sw", ".s16"};
  return std::find(raw.begin(), raw.end(), extension) != raw.end() ? SpeechFile::raw
                                                                   : SpeechFile::wav;
}

RecordingWriter::RecordingWriter(OutputFile &output, SpeechFile type)
    : output_(&output), limited_(type == SpeechFile::wav && !output.is_standard_output()) {
  if (type == SpeechFile::raw) return;
  if (output.is_standard_output()) {
    output.append(kEndlessWavHeader);
    return;
  }
  SF_INFO info = {};
  info.samplerate = KELP_SAMPLE_RATE_HZ;
  info.channels = 1;
  info.format = SF_FORMAT_PCM_16 | (type == SpeechFile::flac ? SF_FORMAT_FLAC : SF_FORMAT_WAV);
  file_.reset(sf_open_fd(output.descriptor(), SFM_WRITE, &info, SF_FALSE));
  if (!file_) {
    throw Failure(output.name() + ": cannot be written: " + sndfile_reason(file_) + kMakeRoom);
  }
}

void RecordingWriter::write(std::span<const int16_t> samples) {
  // The sizes in a WAV header have 32 bits.
  constexpr uint64_t kMaxSamples = (UINT32_MAX - 1024) / sizeof(int16_t);
  samples_ += samples.size();
  if (limited_ && samples_ > kMaxSamples) {
    throw Failure(output_->name() +
                  ": the recording would outgrow the 4 GiB of a WAV file; write a .flac or .raw "
                  "file, or parts of it with --start and --duration");
  }
  if (!file_) {
    std::array<uint8_t, 2 * KELP_FRAME_SAMPLES> bytes;  // little-endian
    for (size_t at = 0; at < samples.size(); at += KELP_FRAME_SAMPLES) {
      const auto part =
          samples.subspan(at, std::min<size_t>(samples.size() - at, KELP_FRAME_SAMPLES));
      for (size_t n = 0; n < part.size(); n++) {
        bytes[2 * n] = static_cast<uint8_t>(part[n]);
        bytes[2 * n + 1] = static_cast<uint8_t>(part[n] >> 8);
      }
      output_->append(std::span<const uint8_t>(bytes).first(2 * part.size()));
    }
    return;
  }
  const auto count = static_cast<sf_count_t>(samples.size());
  if (sf_write_short(file_.get(), samples.data(), count) != count) {
    throw Failure(output_->name() + ": cannot be written: " + sndfile_reason(file_) + kMakeRoom);
  }
}

void RecordingWriter::finish() {
  if (!file_) return;
  sf_write_sync(file_.get());
  const int result = sf_close(file_.release());
  if (result != SF_ERR_NO_ERROR) {
    throw Failure(output_->name() + ": cannot be completed: " + sf_error_number(result) +
                  kMakeRoom);
  }
}
