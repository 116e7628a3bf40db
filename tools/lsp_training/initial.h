// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
#ifndef KELP_TOOLS_LSP_TRAINING_INITIAL_H
#define KELP_TOOLS_LSP_TRAINING_INITIAL_H

#include <cstdint>
#include <vector>

#include "codebooks.h"

namespace kelp::training {

// A first set: one split after the other by k-means on the steps that the splits before it leave,
// weighted by what an error of each LSP costs. Fixed rows attract frames but stay where they are.
void train_initial(const std::vector<speech_frame> &frames, uint64_t seed, codebooks *books);

}  // namespace kelp::training

#endif  // KELP_TOOLS_LSP_TRAINING_INITIAL_H
