// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "tools/kelp/recording_reader.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <sndfile.h>

#include "kelp.h"
#include "tools/kelp/failure.h"
#include "tools/kelp/rates.h"
#include "tools/kelp/standard_streams.h"

namespace {

constexpr double kFullScale = 32768;
constexpr int kBlocksPerSecond = 50;  // what comes through a pipe goes on as soon

ByteSource *source_of(void *user) {
  return static_cast<ByteSource *>(user);
}

SF_VIRTUAL_IO source_calls() {
  SF_VIRTUAL_IO calls = {};
  calls.get_filelen = [](void *user) -> sf_count_t { return source_of(user)->length(); };
  calls.seek = [](sf_count_t offset, int whence, void *user) -> sf_count_t {
    return source_of(user)->seek(offset, whence);
  };
  calls.read = [](void *bytes, sf_count_t count, void *user) -> sf_count_t {
    return source_of(user)->read(static_cast<uint8_t *>(bytes), count);
  };
  calls.tell = [](void *user) -> sf_count_t { return source_of(user)->tell(); };
  return calls;
}

}  // namespace

RecordingReader::RecordingReader(const std::string &path, const RecordingFormat &format)
    : path_(input_name(path)), source_(path, !format.raw) {
  open(format);
  choose_channel(format.channel);
  if (rate_ != KELP_SAMPLE_RATE_HZ) {
    resampler_ = std::make_unique<Resampler>(rate_, KELP_SAMPLE_RATE_HZ);
  }
  const auto frames = static_cast<size_t>(std::max(rate_ / kBlocksPerSecond, 1));
  interleaved_.resize(frames * static_cast<size_t>(channels_));
  block_.resize(frames);
  if (source_.is_mended()) {
    notes_.push_back(path_ + ": its header gives no length; it is read to the end");
  }
}

void RecordingReader::open(const RecordingFormat &format) {
  SF_VIRTUAL_IO calls = source_calls();
  SF_INFO info = {};
  if (format.raw) {
    info.format = SF_FORMAT_RAW | SF_FORMAT_PCM_16 | SF_ENDIAN_LITTLE;
    info.samplerate = KELP_SAMPLE_RATE_HZ;
    info.channels = 1;
  }
  file_.reset(sf_open_virtual(&calls, SFM_READ, &info, &source_));
  if (!file_ && source_.is_pipe()) {
    throw Failure(path_ + ": is in no audio format that can be read from a pipe; save it to a " +
                  "file first, or pipe a WAV file, or 16-bit samples of 8000 Hz with --raw");
  }
  if (!file_) {
    throw Failure(path_ + ": is in no audio format known here (" + sndfile_reason(file_) +
                  "); convert it to a WAV file, or if it holds 16-bit samples of 8000 Hz and " +
                  "nothing else give --raw");
  }
  // Encodings in blocks may not cope with the length that a pipe seems to have.
  if (source_.is_pipe() && info.frames <= 0) throw needs_length();
  source_.opened();
  channels_ = info.channels;
  rate_ = info.samplerate;
}

Failure RecordingReader::needs_length() const {
  return Failure(path_ + ": its encoding needs to know the length, which a pipe does not tell; " +
                 "save it to a file first");
}

void RecordingReader::choose_channel(Channel channel) {
  gains_.assign(static_cast<size_t>(channels_), 0.0);
  if (channel == Channel::left || channels_ == 1) {
    gains_[0] = kFullScale;
  } else if (channel == Channel::right) {
    gains_[1] = kFullScale;
  } else {
    gains_.assign(gains_.size(), kFullScale / channels_);
    if (channel == Channel::unset) {
      notes_.push_back(path_ + ": its " + std::to_string(channels_) +
                       " channels are mixed; --channel left or right takes one of them");
    }
  }
}

uint64_t RecordingReader::expected_samples() const {
  SF_INFO info = {};
  if (source_.is_pipe() ||
      sf_command(file_.get(), SFC_GET_CURRENT_SF_INFO, &info, sizeof info) != 0) {
    return 0;
  }
  return static_cast<uint64_t>(static_cast<double>(info.frames) * kSampleRate_hz / rate_);
}

size_t RecordingReader::read(std::span<double> samples) {
  size_t done = 0;
  while (done < samples.size()) {
    if (rest_.empty() && !at_end_) read_block();
    const std::span<double> room = samples.subspan(done);
    if (resampler_) {
      const Resampler::Progress step = resampler_->process(rest_, room);
      if (at_end_ && rest_.empty() && step.made == 0) break;
      rest_ = rest_.subspan(step.taken);
      done += step.made;
    } else {
      if (rest_.empty()) break;
      const size_t count = std::min(rest_.size(), room.size());
      std::copy_n(rest_.begin(), count, room.begin());
      rest_ = rest_.subspan(count);
      done += count;
    }
  }
  return done;
}

// The next block of the file, as one channel.
void RecordingReader::read_block() {
  const auto wanted = static_cast<sf_count_t>(block_.size());
  const sf_count_t got = sf_readf_double(file_.get(), interleaved_.data(), wanted);
  if (source_.error() != 0 || sf_error(file_.get()) != SF_ERR_NO_ERROR) {
    const std::string cause =
        source_.error() != 0 ? std::strerror(source_.error()) : sndfile_reason(file_);
    throw Failure(path_ + ": cannot be read to its end: " + cause +
                  "; copy it from its source again");
  }
  // Nor do they end when nobody tells how many blocks there are.
  if (source_.is_pipe() && source_.is_at_end()) blocks_behind_end_++;
  if (got < 0 || got > wanted || blocks_behind_end_ > 10 * kBlocksPerSecond) throw needs_length();
  at_end_ = got < wanted;
  const auto frames = static_cast<size_t>(got);
  for (size_t n = 0; n < frames; n++) {
    double sum = 0;
    for (size_t c = 0; c < gains_.size(); c++)
      sum += gains_[c] * interleaved_[n * gains_.size() + c];
    if (!std::isfinite(sum)) {
      throw Failure(path_ + ": holds samples that are not numbers; make it again");
    }
    block_[n] = sum;
  }
  rest_ = std::span<const double>(block_).first(frames);
}

void round_to_pcm(std::span<const double> samples, std::span<int16_t> pcm) {
  for (size_t n = 0; n < samples.size(); n++) {
    pcm[n] = static_cast<int16_t>(std::lrint(std::clamp(samples[n], -32768.0, 32767.0)));
  }
}
