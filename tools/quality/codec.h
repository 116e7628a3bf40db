// Copyright 2026 The libkelp authors
// SPDX-License-Identifier: Apache-2.0
//
// Whole recordings through the codec, for those who measure what becomes of them.
#ifndef KELP_TOOLS_QUALITY_CODEC_H
#define KELP_TOOLS_QUALITY_CODEC_H

#include <cstdint>
#include <span>
#include <vector>

namespace kelp::quality {

using pcm_samples = std::vector<int16_t>;
using packet = std::vector<uint8_t>;

// One packet for every whole frame.
std::vector<packet> encode(std::span<const int16_t> pcm);

// The same number of frames. Packets whose flag is set are lost: an erasure stands in for them.
// Without flags none is.
pcm_samples decode(const std::vector<packet> &packets, const std::vector<bool> &lost = {});

// What the encoder codes of these samples: filtered and scaled as it does, at the decoder's level,
// and late by the codec's delay, so that it lies under the decoded speech.
std::vector<double> coded_speech(std::span<const int16_t> pcm);

}  // namespace kelp::quality

#endif  // KELP_TOOLS_QUALITY_CODEC_H
