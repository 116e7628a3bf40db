#!/usr/bin/env bash
# Copyright 2026 The libkelp authors
# SPDX-License-Identifier: Apache-2.0
#
# Encodes and decodes a recording and reports on it:  ./demo.sh [recording]
# Without a recording it takes a spoken announcement from a Debian package.
set -euo pipefail
recording=${1:+$(realpath -- "$1")}
cd "$(dirname "$0")"
. tools/setup.sh
if [ -n "$recording" ] && [ ! -f "$recording" ]; then
  echo "demo.sh: no such file: $recording" >&2
  exit 1
fi

echo "== Packages"
packages=("${tool_packages[@]}")
if [ -z "$recording" ]; then packages+=(asterisk-core-sounds-en-wav); fi
install_packages "${packages[@]}"

echo "== Build in build-demo"
mkdir -p build-demo
cmake -S . -B build-demo -G Ninja -DCMAKE_BUILD_TYPE=Release \
  -DKELP_BUILD_TESTS=OFF >build-demo/configure.log 2>&1 || {
  cat build-demo/configure.log >&2
  exit 1
}
cmake --build build-demo --target kelp_tool kelp_demo_report

out=demo-output
mkdir -p "$out"
if [ -z "$recording" ]; then
  announcements=(/usr/share/asterisk/sounds/en*/demo-instruct.wav)
  recording=${announcements[0]}
fi

echo "== Encode and decode $recording"
build-demo/kelp encode --force "$recording" "$out/speech.kelp" >/dev/null
build-demo/kelp decode --quiet --force "$out/speech.kelp" "$out/decoded.wav"

echo "== Report"
build-demo/kelp_demo_report "$recording" "$out/speech.kelp"

echo
echo "Input    $recording"
echo "Packets  $out/speech.kelp"
echo "Decoded  $out/decoded.wav"
