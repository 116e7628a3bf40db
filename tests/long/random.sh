#!/usr/bin/env bash
# Copyright 2026 The libkelp authors
# SPDX-License-Identifier: Apache-2.0
#
# Random packets and random PCM frames, so many at the least, under the address and undefined-
# behaviour sanitizers:   tests/long/random.sh [PACKETS [FRAMES]]
set -euo pipefail
cd "$(dirname "$0")/../.."
. tools/setup.sh
packets=${1:-10000000} frames=${2:-1000000}
install_packages cmake ninja-build clang libclang-rt-dev
cmake --preset sanitize >/dev/null
cmake --build build-sanitize --target kelp_fuzz_decode_packets kelp_fuzz_encode_frames
start=$SECONDS
build-sanitize/fuzz/kelp_fuzz_decode_packets --random-frames "$packets" &
build-sanitize/fuzz/kelp_fuzz_encode_frames --random-frames "$frames"
wait $!
echo "nothing found in $((SECONDS - start)) s"
