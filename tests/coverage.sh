#!/usr/bin/env bash
# Copyright 2026 The libkelp authors
# SPDX-License-Identifier: Apache-2.0
#
# What the unit tests execute of the library: lines and branches of each folder. Fails when there is
# less than 97 % of the lines or 90 % of the branches. The sources with their counts, and what was
# not executed, are left in build-coverage/coverage.txt.
#
# By clang, which counts the conditions of the source, each side of && by itself; gcov counts those
# of the code that gcc made of it. Each branch of a template counts in the instantiation that is
# covered best. Functions that only the compiler runs (consteval) do not count, which leaves nothing
# of tables/ today.
set -euo pipefail
cd "$(dirname "$0")/.."
. tools/setup.sh
install_packages cmake ninja-build clang libclang-rt-dev llvm python3 libgtest-dev

cmake --preset coverage
cmake --build build-coverage
rm -rf build-coverage/profile
export LLVM_PROFILE_FILE=$PWD/build-coverage/profile/%m.profraw
ctest --test-dir build-coverage --output-on-failure --no-tests=error --parallel "$(nproc)"

llvm-profdata merge -sparse build-coverage/profile/*.profraw -o build-coverage/tests.profdata
# The shared library holds all of the library and nothing of the tests; the counts are all programs'.
coverage() {
  llvm-cov "$@" build-coverage/libkelp.so -instr-profile=build-coverage/tests.profdata \
    {common,dec,enc,format,tables}/*.{cpp,h}
}
shopt -s nullglob
coverage show -show-branches=count -show-instantiations=false >build-coverage/coverage.txt
coverage export -summary-only -format=lcov | awk -F : '
  $1 == "SF" { n = split($2, path, "/"); folder = path[n - 1] }
  $1 ~ /^(LF|LH|BRF|BRH)$/ { count[folder, $1] += $2; count["total", $1] += $2 }
  function percent(name, kind) {
    return 100 * count[name, kind "H"] / count[name, kind "F"]
  }
  function show(name) {
    printf "%-8s %5d of %5d lines %6.2f %%   %5d of %5d branches %6.2f %%\n", name,
           count[name, "LH"], count[name, "LF"], percent(name, "L"),
           count[name, "BRH"], count[name, "BRF"], percent(name, "BR")
  }
  END {
    rows = split("common dec enc format tables total", names, " ")
    for (i = 1; i <= rows; i++) if (count[names[i], "BRF"] > 0) show(names[i])
    if (percent("total", "L") < 97 || percent("total", "BR") < 90) {
      print "too little: 97 % of the lines and 90 % of the branches are the least"
      exit 1
    }
  }'
