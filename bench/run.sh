#!/usr/bin/env bash
# Copyright 2026 The libkelp authors
# SPDX-License-Identifier: Apache-2.0
#
# Builds and runs all that is measured about speed and memory, on this machine:   bench/run.sh
set -euo pipefail
cd "$(dirname "$0")/.."
. tools/setup.sh
root=$PWD/build-bench narrow=$PWD/build-bench-avx2

echo "== Packages"
install_packages cmake ninja-build g++ binutils libbenchmark-dev codec2-examples \
  asterisk-core-sounds-{en,es,fr,it,ru}{,-wav} libopencore-amrnb-dev libbcg729-dev libspeex-dev \
  libopus-dev libgsm1-dev libcodec2-dev

echo "== Build in build-bench"
options=(-G Ninja -DCMAKE_BUILD_TYPE=Release -DKELP_BUILD_TOOLS=OFF -DKELP_BUILD_TESTS=OFF)
cmake -S . -B "$root" "${options[@]}"
cmake --build "$root"
if [ "$(uname -m)" = x86_64 ]; then
  cmake -S . -B "$narrow" "${options[@]}" -DKELP_AVX512=OFF
  cmake --build "$narrow" --target kelp_peers
fi

echo "== Frames, stages, streams ($(c++ --version | head -1))"
"$root/bench/kelp_bench" 2>&1
echo "== Among other codecs"
"$root/bench/kelp_peers"
dpkg-query -W -f='${Package} ${Version}\n' libopencore-amrnb0 libbcg729-0 libspeex1 libopus0 \
  libgsm1 libcodec2-1.0
if [ "$(uname -m)" = x86_64 ]; then
  echo "== Among other codecs, libkelp without AVX-512"
  "$narrow/bench/kelp_peers" 5
fi
echo "== Memory"
"$root/bench/kelp_footprint"
size -A "$root/libkelp.so" |
  awk '/^\.(text|rodata|data|data\.rel\.ro|bss) / { print "libkelp.so", $1, $2, "bytes" }'
echo "== Instructions"
bench/count_instructions.sh x86-64 8
bench/count_instructions.sh arm64 8
bench/count_instructions.sh arm64 0 plain
bench/count_instructions.sh arm64 0 scalar
