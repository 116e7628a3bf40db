#!/usr/bin/env bash
# Copyright 2026 The libkelp authors
# SPDX-License-Identifier: Apache-2.0
#
# What can be shown of the Android build without the NDK:  android/link_check/run.sh [BUILD_FOLDER]
#
# clang and lld build both libraries for aarch64-linux-android21 with the preset and the script that
# the NDK is used with, against a libc of exactly the six names that they may take from it. The
# archives are tested, and the codec runs under emulation. It is no Android: the headers of the C
# library are those of Debian's cross compiler, and the loader is Debian's.
set -euo pipefail
build=$(realpath -m -- "${1:-$(dirname "$0")/../../build-android-check}")
cd "$(dirname "$0")/../.."
. tools/setup.sh
install_packages cmake ninja-build clang lld llvm libc++-dev g++ g++-aarch64-linux-gnu \
  qemu-user-static python3 default-jdk-headless codec2-examples

echo "== What stands in for the NDK"
ndk=$build/ndk
sysroot=$ndk/sysroot/usr
rm -rf "$ndk"
mkdir -p "$ndk/build/cmake" "$sysroot/include/c++" "$sysroot/lib"
cp android/link_check/android.toolchain.cmake "$ndk/build/cmake/"
echo "Pkg.Revision = 0.0.0" >"$ndk/source.properties"
find /usr/aarch64-linux-gnu/include -mindepth 1 -maxdepth 1 ! -name c++ \
  -exec ln -s -t "$sysroot/include" {} +
ln -s /usr/include/c++/v1 "$sysroot/include/c++/v1"
java_home=$(dirname "$(dirname "$(realpath "$(command -v javac)")")")
ln -s "$java_home"/include/{jni.h,linux/jni_md.h} "$sysroot/include/"
target=(clang --target=aarch64-linux-android21 -fuse-ld=lld -nostdlib -ffreestanding -fPIC -x c -)
"${target[@]}" -shared -Wl,-soname,libm.so -o "$sysroot/lib/libm.so" </dev/null
llvm-ar rc "$sysroot/lib/libatomic.a"
for name in malloc free memcpy memmove memset __stack_chk_fail; do
  echo "void $name(void); void $name(void) {}"
done | "${target[@]}" -fno-builtin -w -shared -Wl,-soname,libc.so -o "$sysroot/lib/libc.so"

echo "== Build and pack"
export ANDROID_NDK_HOME=$ndk
rm -f "$build"/*.aar
android/build_aar.sh "$build"

echo "== The archives, and what is refused"
python3 android/link_check/test_archives.py "$build"

echo "== The same bits as on this computer"
cmake -S . -B "$build/native" -G Ninja -DCMAKE_BUILD_TYPE=Release -DKELP_BUILD_TOOLS=OFF \
  -DKELP_BUILD_TESTS=OFF -DKELP_BUILD_BENCH=OFF >/dev/null
cmake --build "$build/native" --target kelp
gcc -std=c11 -Iinclude -o "$build/native/reference" android/test/reference.c \
  -L"$build/native" -lkelp -Wl,-rpath,"$build/native"
# Android keeps its stack guard 40 bytes behind the thread pointer. Here the program's own thread-local
# data comes to lie there, which nothing writes.
echo '_Thread_local volatile char stack_guard[64];' | aarch64-linux-gnu-gcc -std=c11 -Iinclude \
  -o "$build/reference" -x c - android/test/reference.c -L"$build/package/lib" -lkelp \
  -Wl,--allow-shlib-undefined
for recording in /usr/share/codec2/raw/{hts1a,morig}.raw; do
  expected=$("$build/native/reference" <"$recording" | sha256sum)
  computed=$(LD_LIBRARY_PATH='' qemu-aarch64-static -L /usr/aarch64-linux-gnu \
    -E LD_LIBRARY_PATH="$build/package/lib:$sysroot/lib" "$build/reference" <"$recording" | sha256sum)
  [ "$computed" = "$expected" ] || {
    echo "$recording: other packets or samples than on this computer" >&2
    exit 1
  }
  echo "$recording: $(stat -c %s "$recording") bytes of samples, coded alike"
done
