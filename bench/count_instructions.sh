#!/usr/bin/env bash
# Copyright 2026 The libkelp authors
# SPDX-License-Identifier: Apache-2.0
#
# Executed instructions per frame, which no other process disturbs:
#   bench/count_instructions.sh x86-64|arm64 [FUNCTIONS [kernels|plain|scalar]]
#
# plain: without kernels, at -O3; scalar: without kernels and without vectorized loops.
#
# Encodes and decodes a piece of a recording twice, the second time for some frames more, and
# divides the difference by their number: neither start-up nor the first frames count. Prints the
# FUNCTIONS that take most too, each without those that it calls. On x86-64 callgrind counts; on
# arm64 the program runs under emulation (a Cortex-A72), one instruction a block, and every block is
# traced.
set -euo pipefail
cd "$(dirname "$0")/.."
. tools/setup.sh
usage='usage: count_instructions.sh x86-64|arm64 [FUNCTIONS [kernels|plain|scalar]]'
machine=${1:?$usage} functions=${2:-0} build=${3:-kernels}
root=$PWD/build-count/$machine-$build
case $build in
  kernels) options=() ;;
  plain) options=(-DKELP_PLAIN_KERNELS=ON -DKELP_OPTIMIZE=-O3) ;;
  scalar)
    options=(-DKELP_PLAIN_KERNELS=ON "-DKELP_OPTIMIZE=-O2;-fno-tree-vectorize"
      -DKELP_VECTORIZE=-fno-tree-vectorize)
    ;;
  *) echo "$usage" >&2 && exit 2 ;;
esac
short=10 long=30

# profile encode|decode IN OUT FRAMES > lines of instructions and function
case $machine in
  x86-64)
    toolchain=()
    install_packages cmake ninja-build g++ codec2-examples valgrind
    profile() {
      valgrind --tool=callgrind --callgrind-out-file="$root/callgrind.out" \
        "$root/bench/kelp_code_frames" "$@" 2>"$root/valgrind.log"
      callgrind_annotate --threshold=100 --auto=no "$root/callgrind.out" |
        sed -nE 's/^ *([0-9,]+) \([^)]*\) +[^:]*:([^[]*[^[ ]).*/\1 \2/p' |
        awk '{ gsub(",", "", $1) } 1'
    }
    ;;
  arm64)
    toolchain=(-DCMAKE_TOOLCHAIN_FILE="$PWD/cmake/toolchains/aarch64-linux-gnu.cmake")
    install_packages cmake ninja-build g++-aarch64-linux-gnu codec2-examples qemu-user-static
    profile() {
      mkfifo "$root/trace"
      qemu-aarch64-static -cpu cortex-a72 -singlestep -d nochain,exec -D "$root/trace" \
        "$root/bench/kelp_code_frames" "$@" &
      awk '/^Trace/ { n[$NF]++ } END { for (f in n) print n[f], f }' "$root/trace"
      wait $!
      rm "$root/trace"
    }
    ;;
  *) echo "$usage" >&2 && exit 2 ;;
esac

mkdir -p "$root"
rm -f "$root/trace"
cmake -S . -B "$root" -G Ninja -DCMAKE_BUILD_TYPE=Release -DKELP_BUILD_TOOLS=OFF \
  -DKELP_BUILD_TESTS=OFF "${toolchain[@]}" "${options[@]}" >"$root/build.log"
cmake --build "$root" --target kelp_code_frames >>"$root/build.log"

# Functions by how much they take per frame, after the sum.
per_frame() {
  awk -v frames=$((long - short)) -v most="$functions" '
    { count = $1; $1 = ""; total[$0] += NR == FNR ? -count : count }
    END {
      for (f in total) sum += total[f]
      printf "%10.0f\n", sum / frames
      while (most-- > 0) {
        best = ""
        for (f in total) if (best == "" || total[f] > total[best]) best = f
        printf "%10.0f  %4.1f %% %s\n", total[best] / frames, 100 * total[best] / sum, best
        delete total[best]
      }
    }' "$root/short.txt" "$root/long.txt" |
    c++filt | sed -E 's/\(anonymous namespace\):://g; s/ void / /; s/[<(].*//'
}

# From 0.8 s on the encoder has every frame at full rate.
recording=/usr/share/codec2/raw/hts1a.raw speech=$root/speech.raw
tail -c +$((1 + 40 * 320)) "$recording" >"$speech"
echo "instructions per frame on $machine ($build), $((long - short)) frames of $recording"
for direction in encode decode; do
  in=$speech out=$root/packets.kelp
  if [ $direction = decode ]; then in=$out out=$root/decoded.raw; fi
  profile $direction "$in" "$out.short" $short >"$root/short.txt"
  profile $direction "$in" "$out" $long >"$root/long.txt"
  echo "$direction $(per_frame)"
done
bytes=$(($(stat -c %s "$root/packets.kelp") - $(stat -c %s "$root/packets.kelp.short")))
echo "$bytes bytes in the packets of these frames"
