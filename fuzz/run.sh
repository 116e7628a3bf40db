#!/usr/bin/env bash
# Copyright 2026 The libkelp authors
# SPDX-License-Identifier: Apache-2.0
#
# Runs each fuzz target for so many seconds, as many at a time as there are cores, under the address
# and undefined-behaviour sanitizers:   fuzz/run.sh SECONDS [TARGET...]
# What it learns is kept in build-fuzz/corpus/ for the next run. An input that breaks something is
# left in build-fuzz/findings/: run the target's program on that file to see it again.
set -euo pipefail
cd "$(dirname "$0")/.."
. tools/setup.sh
seconds=${1:?usage: fuzz/run.sh SECONDS [TARGET...]}
shift
targets=("$@")
[ $# -gt 0 ] || for seeds in fuzz/corpus/*/; do targets+=("$(basename "$seeds")"); done

install_packages cmake ninja-build clang libclang-rt-dev
cmake --preset fuzz >/dev/null
cmake --build build-fuzz --target "${targets[@]/#/kelp_fuzz_}"
mkdir -p build-fuzz/findings

fuzz_one() {
  local target=$1 seconds=$2
  mkdir -p "build-fuzz/corpus/$target"
  # -len_control: a codec's faults need sequences, so inputs may be long soon.
  if ! "build-fuzz/fuzz/kelp_fuzz_$target" -max_total_time="$seconds" -max_len=1500 -len_control=10 \
    -timeout=20 -rss_limit_mb=4096 -artifact_prefix="build-fuzz/findings/$target-" \
    "build-fuzz/corpus/$target" "fuzz/corpus/$target" >"build-fuzz/$target.log" 2>&1; then
    tail -n 40 "build-fuzz/$target.log" >&2
    echo "$target: broken; the input is in build-fuzz/findings/" >&2
    return 1
  fi
  echo "$target: $(grep -E '^#[0-9]+.DONE' "build-fuzz/$target.log" | tr '\t' ' ')"
}
export -f fuzz_one
printf '%s\n' "${targets[@]}" | xargs -P "$(nproc)" -I{} bash -c "fuzz_one {} $seconds"
