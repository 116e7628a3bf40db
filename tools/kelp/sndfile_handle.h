// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// libsndfile's handle, named so that its header stays inside the files that call it.
#ifndef KELP_TOOLS_KELP_SNDFILE_HANDLE_H
#define KELP_TOOLS_KELP_SNDFILE_HANDLE_H

#include <memory>
#include <string>

struct SndfileClose {
  void operator()(struct sf_private_tag *file) const;
};
using SndfileHandle = std::unique_ptr<struct sf_private_tag, SndfileClose>;

// The reason of the last failure of a handle, or of the last opening, as part of a sentence.
[[nodiscard]] std::string sndfile_reason(const SndfileHandle &file);

#endif  // KELP_TOOLS_KELP_SNDFILE_HANDLE_H
