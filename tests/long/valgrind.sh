#!/usr/bin/env bash
# Copyright 2026 The libkelp authors
# SPDX-License-Identifier: Apache-2.0
#
# MINUTES of recorded speech under valgrind: no byte that was never written decides anything or comes
# out, nothing is read or written out of place, nothing leaks:   tests/long/valgrind.sh [MINUTES]
set -euo pipefail
cd "$(dirname "$0")/../.."
. tools/setup.sh
minutes=${1:-60}
install_packages cmake ninja-build g++ valgrind libc6-dbg
root=$PWD/build-valgrind
cmake -S . -B "$root" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DKELP_BUILD_TOOLS=OFF \
  -DKELP_BUILD_BENCH=OFF >/dev/null
cmake --build "$root" --target kelp_checksums
tests/long/speech.sh "$minutes" "$root/speech.raw"
start=$SECONDS
# What comes out is printed as checksums, so that a byte never written would show in the printing.
valgrind --error-exitcode=1 --leak-check=full --show-leak-kinds=all --errors-for-leak-kinds=all \
  "$root/tests/kelp_checksums" "$root/speech.raw" 10000
echo "$minutes minutes in $((SECONDS - start)) s"
