// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
#ifndef KELP_TOOLS_KELP_BYTE_SOURCE_H
#define KELP_TOOLS_KELP_BYTE_SOURCE_H

#include <cstdint>
#include <string>
#include <vector>

// The bytes of a file or of standard input ("-") as libsndfile asks for them. A pipe can be read
// only once; what is read of it before opened() is kept, because headers are read more than once.
class ByteSource {
 public:
  // A WAV header that gives no length, left by a recorder that broke off or written into a pipe,
  // is mended if asked: the data appear to reach to the end. So they do in any header in a pipe,
  // lest somebody reads on to see what comes behind them.
  ByteSource(const std::string &path, bool mend_wav);
  ~ByteSource();
  ByteSource(const ByteSource &) = delete;
  ByteSource &operator=(const ByteSource &) = delete;

  [[nodiscard]] bool is_mended() const { return mended_; }
  [[nodiscard]] bool is_pipe() const { return pipe_; }
  [[nodiscard]] bool is_at_end() const { return at_end_; }  // somebody asked for more than there is
  [[nodiscard]] int error() const { return error_; }        // errno of a read that failed, or 0

  void opened() { keeping_ = false; }  // from here on all is read once, from front to back

  [[nodiscard]] int64_t length() const;
  [[nodiscard]] int64_t tell() const { return position_; }
  int64_t seek(int64_t offset, int whence);      // the new position, or -1
  int64_t read(uint8_t *bytes, int64_t wanted);  // fewer than wanted at the end only

 private:
  bool read_head(size_t count);
  void mend_wav_header(const std::string &name);
  void make_64_bit(size_t data_chunk, int64_t data_length);
  int64_t read_source(uint8_t *bytes, int64_t wanted, int64_t offset);
  int64_t read_pipe(uint8_t *bytes, int64_t wanted, int64_t offset);

  int descriptor_;
  bool pipe_ = true;
  bool mended_ = false;
  bool keeping_ = true;
  bool at_end_ = false;
  int error_ = 0;
  std::vector<uint8_t> head_;  // the first bytes, possibly other than the source's
  int64_t head_end_ = 0;       // where the source goes on behind them
  int64_t source_end_ = 0;     // of a file, or of the data in a pipe
  int64_t pipe_offset_ = 0;    // bytes that a pipe has given
  int64_t position_ = 0;
};

#endif  // KELP_TOOLS_KELP_BYTE_SOURCE_H
