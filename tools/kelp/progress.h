// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
#ifndef KELP_TOOLS_KELP_PROGRESS_H
#define KELP_TOOLS_KELP_PROGRESS_H

#include <functional>

// Called after every frame, on the thread that works, with the seconds of audio that are done. May
// be empty.
using Progress = std::function<void(double seconds)>;

#endif  // KELP_TOOLS_KELP_PROGRESS_H
