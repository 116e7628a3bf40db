// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
#ifndef KELP_BENCH_STAGE_BENCH_H
#define KELP_BENCH_STAGE_BENCH_H

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "bench/captured.h"

namespace kelp::bench {

// Registers a benchmark of one value: what `mean_seconds` measures, each time it is run.
void add_measurement(const std::string &name, const std::function<double()> &mean_seconds);

// Registers the stages of encoder and decoder over these frames, all of the rate named.
void add_stages(const char *rate_name,
                const std::shared_ptr<const std::vector<captured_frame>> &frames);

}  // namespace kelp::bench

#endif  // KELP_BENCH_STAGE_BENCH_H
