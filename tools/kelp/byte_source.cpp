// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "tools/kelp/byte_source.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tools/kelp/failure.h"
#include "tools/kelp/standard_streams.h"

namespace {

constexpr int64_t kEndless = int64_t{1} << 56;      // the length of a pipe
constexpr int64_t kMostKept = int64_t{1} << 24;     // bytes of it
constexpr size_t kLongestHeader = size_t{1} << 20;  // up to the data

// WAV chunk sizes that stand for an unknown length; the last is what sox writes into pipes.
constexpr uint32_t kAllOnes = 0xFFFFFFFF;
constexpr uint32_t kSoxUnknown = 0x7FFFF000;

uint32_t little_endian_32(const uint8_t *bytes) {
  return bytes[0] | uint32_t{bytes[1]} << 8 | uint32_t{bytes[2]} << 16 | uint32_t{bytes[3]} << 24;
}

// Where the chunk behind this one begins.
size_t next_chunk(const std::vector<uint8_t> &head, size_t chunk) {
  return chunk + 8 + (size_t{little_endian_32(&head[chunk + 4])} + 1) / 2 * 2;
}

void put_little_endian(uint8_t *bytes, uint64_t value, int count) {
  for (; count > 0; count--, value >>= 8) *bytes++ = static_cast<uint8_t>(value);
}

// Whether the chunks before `end` of a WAV header say PCM, float, A-law or u-law: the 64-bit form
// allows little else.
bool has_plain_samples(const std::vector<uint8_t> &head, size_t end) {
  for (size_t chunk = 12; chunk + 10 <= end; chunk = next_chunk(head, chunk)) {
    if (std::memcmp(&head[chunk], "fmt ", 4) != 0) continue;
    const int format = head[chunk + 8] | head[chunk + 9] << 8;
    constexpr int kExtensible = 0xFFFE;  // nearly always PCM or float
    return format == 1 || format == 3 || format == 6 || format == 7 || format == kExtensible;
  }
  return false;
}

// All that one read can give: fewer than wanted at the end only, or -1.
template <typename Read>
int64_t read_fully(uint8_t *bytes, int64_t wanted, Read read_some) {
  int64_t done = 0;
  while (done < wanted) {
    const ssize_t got = read_some(bytes + done, static_cast<size_t>(wanted - done), done);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return -1;
    if (got == 0) break;
    done += got;
  }
  return done;
}

}  // namespace

ByteSource::ByteSource(const std::string &path, bool mend_wav)
    : descriptor_(is_standard_stream(path) ? STDIN_FILENO
                                           : open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
  struct stat status = {};
  if (descriptor_ < 0 || fstat(descriptor_, &status) != 0) {
    throw system_failure(input_name(path), "cannot be opened", "check its name and permissions");
  }
  if (S_ISDIR(status.st_mode)) {
    close(descriptor_);
    throw Failure(input_name(path) + ": is a directory; name a recording in it");
  }
  // A file that standard input stands inside is read on from there, like a pipe.
  pipe_ = !S_ISREG(status.st_mode) || lseek(descriptor_, 0, SEEK_CUR) != 0;
  source_end_ = pipe_ ? kEndless : static_cast<int64_t>(status.st_size);
  if (mend_wav) mend_wav_header(input_name(path));
}

ByteSource::~ByteSource() {
  if (descriptor_ != STDIN_FILENO) close(descriptor_);
}

int64_t ByteSource::length() const {
  if (pipe_) return kEndless;
  return static_cast<int64_t>(head_.size()) + std::max<int64_t>(source_end_ - head_end_, 0);
}

int64_t ByteSource::seek(int64_t offset, int whence) {
  const int64_t from = whence == SEEK_SET ? 0 : whence == SEEK_CUR ? position_ : length();
  if (from + offset < 0) return -1;
  return position_ = from + offset;
}

int64_t ByteSource::read(uint8_t *bytes, int64_t wanted) {
  int64_t done = 0;
  const auto head_size = static_cast<int64_t>(head_.size());
  if (position_ < head_size) {
    done = std::min(wanted, head_size - position_);
    std::copy_n(head_.data() + position_, done, bytes);
    position_ += done;
  }
  if (done < wanted) {
    const int64_t offset = position_ - head_size + head_end_;
    const int64_t got = read_source(bytes + done, wanted - done, offset);
    position_ += got;
    done += got;
  }
  at_end_ = done < wanted;
  return done;
}

int64_t ByteSource::read_source(uint8_t *bytes, int64_t wanted, int64_t offset) {
  const int64_t got = pipe_
                          ? read_pipe(bytes, wanted, offset)
                          : read_fully(bytes, wanted, [&](uint8_t *to, size_t count, int64_t done) {
                              return pread(descriptor_, to, count, offset + done);
                            });
  if (got < 0) error_ = errno;
  return std::max<int64_t>(got, 0);
}

int64_t ByteSource::read_pipe(uint8_t *bytes, int64_t wanted, int64_t offset) {
  if (offset < pipe_offset_ || offset >= source_end_) return 0;
  // Whoever looks far ahead looks behind the data, and finds nothing there.
  if (offset > pipe_offset_ && offset > kMostKept) return 0;
  wanted = std::min(wanted, source_end_ - offset);
  const auto read_some = [&](uint8_t *to, size_t count, int64_t) {
    const ssize_t got = ::read(descriptor_, to, count);
    if (got > 0) {
      if (keeping_ && pipe_offset_ == head_end_ && head_end_ < kMostKept) {
        head_.insert(head_.end(), to, to + got);
        head_end_ += got;
      }
      pipe_offset_ += got;
    }
    return got;
  };
  std::array<uint8_t, 4096> skipped;
  while (pipe_offset_ < offset) {
    const int64_t count = std::min<int64_t>(offset - pipe_offset_, skipped.size());
    const int64_t got = read_fully(skipped.data(), count, read_some);
    if (got < count) return std::min<int64_t>(got, 0);
  }
  return read_fully(bytes, wanted, read_some);
}

// Has at least `count` bytes in the head, unless the source is shorter.
bool ByteSource::read_head(size_t count) {
  const size_t before = head_.size();
  if (before >= count) return true;
  std::vector<uint8_t> more(count - before);
  const int64_t got = read_source(more.data(), static_cast<int64_t>(more.size()), head_end_);
  more.resize(static_cast<size_t>(got));
  if (head_.size() == before) {  // what pipes give has been kept already
    head_.insert(head_.end(), more.begin(), more.end());
    head_end_ += got;
  }
  return head_.size() >= count;
}

void ByteSource::mend_wav_header(const std::string &name) {
  if (!read_head(12) || std::memcmp(head_.data(), "RIFF", 4) != 0 ||
      std::memcmp(&head_[8], "WAVE", 4) != 0) {
    return;
  }
  size_t chunk = 12;
  for (;; chunk = next_chunk(head_, chunk)) {
    if (chunk > kLongestHeader || !read_head(chunk + 8)) return;
    if (std::memcmp(&head_[chunk], "data", 4) == 0) break;
  }
  const uint32_t size = little_endian_32(&head_[chunk + 4]);
  const int64_t rest = source_end_ - head_end_;
  const bool unknown = size == 0 || size == kAllOnes || (size == kSoxUnknown && rest > size);
  if (rest <= 0 || !(unknown || pipe_)) return;
  const bool plain = has_plain_samples(head_, chunk);
  if (pipe_ && unknown && !plain) {
    throw Failure(name +
                  ": its encoding needs to know the length, which neither the header nor a " +
                  "pipe tells; save it to a file first");
  }
  if (!unknown) source_end_ = std::min(source_end_, head_end_ + size);
  mended_ = unknown;
  if (rest < kAllOnes) {
    put_little_endian(&head_[4], static_cast<uint64_t>(rest) + chunk, 4);
    put_little_endian(&head_[chunk + 4], static_cast<uint64_t>(rest), 4);
  } else if (plain) {
    make_64_bit(chunk, rest);
  }
}

// RF64: as the form of 32 bits, but a chunk before all others has the lengths.
void ByteSource::make_64_bit(size_t data_chunk, int64_t data_length) {
  constexpr size_t kAdded = 36;
  constexpr size_t kBegin = 48;
  std::array<uint8_t, kBegin> begin = {'R', 'F', '6', '4', 0xFF, 0xFF, 0xFF, 0xFF,      'W',
                                       'A', 'V', 'E', 'd', 's',  '6',  '4',  kAdded - 8};
  put_little_endian(&begin[20], static_cast<uint64_t>(data_length) + data_chunk + kAdded, 8);
  put_little_endian(&begin[28], static_cast<uint64_t>(data_length), 8);
  put_little_endian(&head_[data_chunk + 4], kAllOnes, 4);
  head_.erase(head_.begin(), head_.begin() + 12);
  head_.insert(head_.begin(), begin.begin(), begin.end());
}
