#!/usr/bin/env bash
# Copyright 2026 The libkelp authors
# SPDX-License-Identifier: Apache-2.0
#
# Compares what the built library exports (symbols, their types and sizes, the layout of records) with
# tests/abi.xml, the interface that hosts were built for:  tests/abi.sh
# After a change that is wanted:                            tests/abi.sh --update
set -euo pipefail
cd "$(dirname "$0")/.."
. tools/setup.sh
install_packages "${tool_packages[@]}" abigail-tools binutils

cmake --preset debian
cmake --build build-debian --target libkelp.so
library=build-debian/libkelp.so
# Without it the tools would compare nothing but names, and be content.
readelf --section-headers --wide "$library" | grep '\.debug_info' >/dev/null || {
  echo "abi.sh: $library has no debug information" >&2
  exit 1
}
if [ "${1-}" = --update ]; then
  abidw --headers-dir include --exported-interfaces-only --drop-private-types \
    --drop-undefined-syms --no-corpus-path --no-comp-dir-path --no-show-locs --no-elf-needed \
    --no-parameter-names --no-write-default-sizes --type-id-style hash \
    --out-file tests/abi.xml "$library"
fi
abidiff --harmless tests/abi.xml "$library" || {
  echo "abi.sh: the interface is not that of tests/abi.xml; CONTRIBUTING.md says what to do" >&2
  exit 1
}
echo "The interface is that of tests/abi.xml: $(grep -c '<elf-symbol' tests/abi.xml) symbols"
