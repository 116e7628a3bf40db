#!/usr/bin/env bash
# Copyright 2026 The libkelp authors
# SPDX-License-Identifier: Apache-2.0
#
# Builds everything in build-test and runs all tests:  ./test.sh [ctest option...]
set -euo pipefail
cd "$(dirname "$0")"
. tools/setup.sh

echo "== Packages"
install_packages "${tool_packages[@]}" binutils python3 sox parallel pandoc man-db zsh libgtest-dev \
  codec2-examples asterisk-core-sounds-{en,es,fr,it,ru}{,-wav}

echo "== Build in build-test"
cmake -S . -B build-test -G Ninja -DCMAKE_BUILD_TYPE=Release -DKELP_WERROR=ON
cmake --build build-test

echo "== Tests"
ctest --test-dir build-test --output-on-failure --parallel "$(nproc)" "$@"
