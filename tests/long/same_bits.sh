#!/usr/bin/env bash
# Copyright 2026 The libkelp authors
# SPDX-License-Identifier: Apache-2.0
#
# Packets, samples, tables, arithmetic and return codes of MINUTES of recorded speech and so many
# broken packets must be the same from g++ and clang, -O0 and -O3, x86-64 and arm64 (emulated):
#   tests/long/same_bits.sh [MINUTES [PACKETS]]
set -euo pipefail
cd "$(dirname "$0")/../.."
. tools/setup.sh
minutes=${1:-30} packets=${2:-100000}
install_packages cmake ninja-build g++ clang g++-aarch64-linux-gnu qemu-user-static
root=$PWD/build-same-bits
mkdir -p "$root"
tests/long/speech.sh "$minutes" "$root/speech.raw"

arm64=$PWD/cmake/toolchains/aarch64-linux-gnu.cmake
for build in g++-O3 g++-O0 clang-O3 clang-O0 arm64-O3 arm64-O0; do
  optimisation=${build##*-}
  case $build in
    g++*) compiler=(-DCMAKE_C_COMPILER=gcc -DCMAKE_CXX_COMPILER=g++) run=() ;;
    clang*) compiler=(-DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++) run=() ;;
    arm64*) compiler=(-DCMAKE_TOOLCHAIN_FILE="$arm64") run=(qemu-aarch64-static -L /usr/aarch64-linux-gnu) ;;
  esac
  # A build type of no name of CMake's: the flags are these alone.
  cmake -S . -B "$root/$build" -G Ninja -DCMAKE_BUILD_TYPE=Given "${compiler[@]}" \
    -DCMAKE_CXX_FLAGS_GIVEN="-$optimisation" -DCMAKE_C_FLAGS_GIVEN="-$optimisation" \
    -DKELP_BUILD_TOOLS=OFF -DKELP_BUILD_BENCH=OFF >"$root/$build.log"
  cmake --build "$root/$build" --target kelp_checksums >>"$root/$build.log" ||
    { cat "$root/$build.log" >&2; exit 1; }
  start=$SECONDS
  "${run[@]}" "$root/$build/tests/kelp_checksums" "$root/speech.raw" "$packets" >"$root/$build.txt"
  if ! cmp -s "$root/g++-O3.txt" "$root/$build.txt"; then
    echo "$build does not compute the bits of g++-O3:" >&2
    diff "$root/g++-O3.txt" "$root/$build.txt" >&2 || true
    exit 1
  fi
  echo "$build: the same ($((SECONDS - start)) s)"
done
cat "$root/g++-O3.txt"
