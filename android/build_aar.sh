#!/usr/bin/env bash
# Copyright 2026 The libkelp authors
# SPDX-License-Identifier: Apache-2.0
#
# Builds both libraries for Android and packs them as AARs:  android/build_aar.sh [BUILD_FOLDER]
# Needs CMake, ninja, Python 3, a JDK, and the NDK that ANDROID_NDK_HOME names; without an NDK it says
# so and ends with status 77.
set -euo pipefail
build=$(realpath -m -- "${1:-$(dirname "$0")/../build-android-arm64}")
cd "$(dirname "$0")/.."

ndk=${ANDROID_NDK_HOME:-}
if [ ! -f "$ndk/build/cmake/android.toolchain.cmake" ]; then
  cat >&2 <<END
Skipped: no Android NDK at ANDROID_NDK_HOME="$ndk".
Install one (sdkmanager --install "ndk;VERSION", or https://developer.android.com/ndk/downloads), then
  ANDROID_NDK_HOME=/path/to/ndk android/build_aar.sh
END
  exit 77
fi

cmake --preset android-arm64 -B "$build"
cmake --build "$build"
rm -rf "$build/package"
cmake --install "$build" --prefix "$build/package" --strip
major=$(sed -n 's/^Pkg\.Revision *= *\([0-9]*\).*/\1/p' "$ndk/source.properties")
android/make_aar.py --ndk "$major" "$build/package" "$build"
