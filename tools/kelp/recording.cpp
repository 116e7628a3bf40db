// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "tools/kelp/recording.h"

#include <fcntl.h>
#include <filesystem>
#include <sndfile.h>
#include <utility>

#include "tools/kelp/failure.h"

namespace {

constexpr int kSampleRate = 8000;
constexpr const char *kMakeRoom = "; make room or write to another place";
constexpr int kWavPcm16 = SF_FORMAT_WAV | SF_FORMAT_PCM_16;

std::string format_name(int command, int format) {
  SF_FORMAT_INFO info = {};
  info.format = format;
  if (sf_command(nullptr, command, &info, sizeof info) != 0 || info.name == nullptr) {
    return "unknown";
  }
  return info.name;
}

// "WAV (Microsoft), Signed 16 bit PCM, 44100 Hz, 2 channels"
std::string describe(const SF_INFO &info) {
  return format_name(SFC_GET_FORMAT_INFO, info.format & SF_FORMAT_TYPEMASK) + ", " +
         format_name(SFC_GET_FORMAT_INFO, info.format & SF_FORMAT_SUBMASK) + ", " +
         std::to_string(info.samplerate) + " Hz, " +
         (info.channels == 1 ? "mono" : std::to_string(info.channels) + " channels");
}

std::string conversion(const std::string &path) {
  return "; needed is a WAV file, 16-bit PCM, 8000 Hz, mono; convert a recording with: sox " +
         shell_word(path) + " -e signed-integer -b 16 -r 8000 -c 1 converted.wav";
}

// libsndfile's sentences end in a full stop; here they stand inside one.
std::string clause(std::string text) {
  while (!text.empty() && text.back() == '.') text.pop_back();
  return text;
}

bool is_usable(const SF_INFO &info) {
  const int type = info.format & SF_FORMAT_TYPEMASK;
  const bool wav = type == SF_FORMAT_WAV || type == SF_FORMAT_WAVEX || type == SF_FORMAT_RF64;
  return wav && (info.format & SF_FORMAT_SUBMASK) == SF_FORMAT_PCM_16 &&
         info.samplerate == kSampleRate && info.channels == 1;
}

}  // namespace

void SndfileClose::operator()(SndfileHandle *file) const {
  sf_close(file);
}

RecordingReader::RecordingReader(std::string path) : path_(std::move(path)) {
  if (std::filesystem::is_directory(path_)) {
    throw Failure(path_ + ": is a directory; name a recording in it");
  }
  const int descriptor = open(path_.c_str(), O_RDONLY | O_CLOEXEC);
  if (descriptor < 0) {
    throw system_failure(path_, "cannot be opened", "check its name and permissions");
  }
  SF_INFO info = {};
  file_.reset(sf_open_fd(descriptor, SFM_READ, &info, SF_TRUE));  // closes it in every case
  if (!file_) throw Failure(path_ + ": is in no audio format known here" + conversion(path_));
  if (!is_usable(info)) throw Failure(path_ + ": is " + describe(info) + conversion(path_));
}

size_t RecordingReader::read(std::span<int16_t> samples) {
  const sf_count_t got =
      sf_read_short(file_.get(), samples.data(), static_cast<sf_count_t>(samples.size()));
  if (sf_error(file_.get()) != SF_ERR_NO_ERROR) {
    throw Failure(path_ + ": cannot be read to its end: " + clause(sf_strerror(file_.get())) +
                  "; copy it from its source again");
  }
  return static_cast<size_t>(got);
}

RecordingWriter::RecordingWriter(OutputFile &output) : path_(output.name()) {
  SF_INFO info = {};
  info.samplerate = kSampleRate;
  info.channels = 1;
  info.format = kWavPcm16;
  file_.reset(sf_open_fd(output.descriptor(), SFM_WRITE, &info, SF_FALSE));
  if (!file_)
    throw Failure(path_ + ": cannot be written: " + clause(sf_strerror(nullptr)) + kMakeRoom);
}

void RecordingWriter::write(std::span<const int16_t> samples) {
  // The sizes in a WAV header have 32 bits.
  constexpr uint64_t kMaxSamples = (UINT32_MAX - 1024) / sizeof(int16_t);
  samples_ += samples.size();
  if (samples_ > kMaxSamples) {
    throw Failure(path_ +
                  ": the recording would outgrow the 4 GiB of a WAV file; split the stream");
  }
  const auto count = static_cast<sf_count_t>(samples.size());
  if (sf_write_short(file_.get(), samples.data(), count) != count) {
    throw Failure(path_ + ": cannot be written: " + clause(sf_strerror(file_.get())) + kMakeRoom);
  }
}

void RecordingWriter::finish() {
  sf_write_sync(file_.get());
  const int result = sf_close(file_.release());
  if (result != SF_ERR_NO_ERROR) {
    throw Failure(path_ + ": cannot be completed: " + clause(sf_error_number(result)) + kMakeRoom);
  }
}
