#!/usr/bin/env bash
# Copyright 2026 The libkelp authors
# SPDX-License-Identifier: Apache-2.0
#
# HOURS of recorded speech through one encoder and decoder:   tests/long/endurance.sh [HOURS]
set -euo pipefail
cd "$(dirname "$0")/../.."
. tools/setup.sh
hours=${1:-8}
install_packages cmake ninja-build g++
root=$PWD/build-endurance
cmake -S . -B "$root" -G Ninja -DCMAKE_BUILD_TYPE=Release -DKELP_BUILD_TOOLS=OFF \
  -DKELP_BUILD_BENCH=OFF >/dev/null
cmake --build "$root" --target kelp_endurance
tests/long/speech.sh 60 "$root/speech.raw"
"$root/tests/kelp_endurance" "$root/speech.raw" "$hours"
