// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "tools/kelp/resampler.h"

#include <soxr.h>
#include <string>

#include "tools/kelp/failure.h"

namespace {

void check(soxr_error_t error) {
  if (error != nullptr) throw Failure(std::string("the sampling rate cannot be changed: ") + error);
}

}  // namespace

void Resampler::Delete::operator()(SoxrHandle *handle) const {
  soxr_delete(handle);
}

Resampler::Resampler(double from_hz, double to_hz) {
  const soxr_io_spec_t samples = soxr_io_spec(SOXR_FLOAT64_I, SOXR_FLOAT64_I);
  const soxr_quality_spec_t quality = soxr_quality_spec(SOXR_HQ, 0);
  soxr_error_t error = nullptr;
  handle_.reset(soxr_create(from_hz, to_hz, 1, &error, &samples, &quality, nullptr));
  check(error);
}

Resampler::Progress Resampler::process(std::span<const double> input, std::span<double> output) {
  Progress progress = {0, 0};
  check(soxr_process(handle_.get(), input.empty() ? nullptr : input.data(), input.size(),
                     &progress.taken, output.data(), output.size(), &progress.made));
  return progress;
}
