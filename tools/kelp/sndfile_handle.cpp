// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0

#include "tools/kelp/sndfile_handle.h"

#include <sndfile.h>

void SndfileClose::operator()(struct sf_private_tag *file) const {
  sf_close(file);
}

std::string sndfile_reason(const SndfileHandle &file) {
  std::string text = sf_strerror(file.get());
  while (!text.empty() && text.back() == '.') text.pop_back();
  return text;
}
