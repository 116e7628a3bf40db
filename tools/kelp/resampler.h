// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
#ifndef KELP_TOOLS_KELP_RESAMPLER_H
#define KELP_TOOLS_KELP_RESAMPLER_H

#include <memory>
#include <span>

// libsoxr's handle, named here so that its header stays inside resampler.cpp.
using SoxrHandle = struct soxr;

// One channel from any sampling rate to another, in pieces, without delay.
class Resampler {
 public:
  Resampler(double from_hz, double to_hz);

  struct Progress {
    size_t taken;
    size_t made;
  };
  // Takes samples from the front of `input` and puts some into `output`. Empty input says that no
  // more will come; nothing made then is the end.
  Progress process(std::span<const double> input, std::span<double> output);

 private:
  struct Delete {
    void operator()(SoxrHandle *handle) const;
  };
  std::unique_ptr<SoxrHandle, Delete> handle_;
};

#endif  // KELP_TOOLS_KELP_RESAMPLER_H
