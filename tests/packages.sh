#!/usr/bin/env bash
# Copyright 2026 The libkelp authors
# SPDX-License-Identifier: Apache-2.0
#
# The library as others get it:  tests/packages.sh
# Makes the Debian packages, checks them, builds programs against an installed tree and inside another
# project, and installs the packages into a clean Debian, uses them there and purges them.
set -euo pipefail
cd "$(dirname "$0")/.."
. tools/setup.sh
. tests/clean_root.sh

step() { printf '\n== %s (%d s)\n' "$1" "$SECONDS"; }
fail() {
  echo "packages.sh: $1" >&2
  exit 1
}

install_packages "${tool_packages[@]}" debootstrap dpkg-dev lintian pandoc pkg-config sox
work=$PWD/build-debian/check
rm -rf --one-file-system "$work" build-debian/*.deb

step "Debian packages"
cmake --preset debian
cmake --build build-debian --target package
mkdir -p "$work/debs"
mv build-debian/*.deb "$work/debs"
# The same build gives the same packages, and nothing in them knows where it was built.
cmake --build build-debian --target package >/dev/null
for deb in "$work"/debs/*.deb; do
  cmp "$deb" "build-debian/$(basename "$deb")"
  dpkg-deb -x "$deb" "$work/unpacked"
done
if grep -rF "$PWD" "$work/unpacked"; then fail "packages name the folder they were built in"; fi
lintian --fail-on error,warning "$work"/debs/*.deb

step "Programs against an installed tree, which was moved"
cmake --install build-debian --prefix "$work/installed" >/dev/null
mv "$work/installed" "$work/moved"
export PKG_CONFIG_LIBDIR
PKG_CONFIG_LIBDIR=$(dirname "$(find "$work/moved" -name kelp.pc)")

# consumer NAME [cmake option...]: builds and runs the programs of tests/consumer.
consumer() {
  local build=$work/consumer-$1 program
  cmake -S tests/consumer -B "$build" -G Ninja -DKELP_SOURCES="$PWD" -DKELP_FROM="$1" "${@:2}"
  cmake --build "$build"
  for program in c_shared c_static cpp_shared cpp_static; do "$build/$program"; done
  needs "$build/c_static" libc.so.6
}

# needs PROGRAM LIBRARY...: these are the shared libraries it was linked with, and no others.
needs() {
  local found
  found=$(readelf -d "$1" | sed -n 's/.*NEEDED.*\[\(.*\)\]/\1/p' | paste -sd ' ')
  [ "$found" = "${*:2}" ] || fail "$1 needs $found"
}

consumer package -DCMAKE_PREFIX_PATH="$work/moved"
[ "$(pkg-config --modversion kelp)" = "$(sed -n 's/.*VERSION_STRING "\(.*\)"/\1/p' include/kelp.h)" ] ||
  fail "pkg-config tells another version than the header"
read -ra flags < <(pkg-config --cflags --libs kelp)
libdir=$(pkg-config --variable=libdir kelp)
gcc tests/consumer/consumer.c "${flags[@]}" -o "$work/c"
g++ tests/consumer/consumer.cpp "${flags[@]}" -o "$work/cpp"
LD_LIBRARY_PATH=$libdir "$work/c"
LD_LIBRARY_PATH=$libdir "$work/cpp"
cmake -S examples -B "$work/examples" -G Ninja -DCMAKE_PREFIX_PATH="$work/moved"
cmake --build "$work/examples"

step "Programs in a project that has the library as a part"
consumer subdirectory
consumer fetch

step "Install, use and purge in a clean Debian"
debian=$work/root
clean_root "$debian"
cp -r tests/consumer "$debian/tmp"
for deb in "$work"/debs/*.deb; do
  name=$(basename "$deb")
  cp "$deb" "$debian/tmp/${name%%_*}.deb"
done
sox -D -n -r 8000 -c 1 -b 16 "$debian/tmp/speech.wav" synth 2 sawtooth 140 gain -12
in_root "$debian" apt-get -qq update

install_in_root "$debian" /tmp/libkelp1.deb /tmp/kelp-tools.deb
in_root "$debian" ldconfig -p | grep 'libkelp\.so\.1 ' || fail "the linker does not know libkelp.so.1"
in_root "$debian" kelp --version
in_root "$debian" kelp encode --quiet /tmp/speech.wav /tmp/speech.kelp
in_root "$debian" kelp decode --quiet /tmp/speech.kelp /tmp/decoded.wav
build-debian/kelp encode --quiet "$debian/tmp/speech.wav" "$work/speech.kelp"
cmp "$debian/tmp/speech.kelp" "$work/speech.kelp"

install_in_root "$debian" /tmp/libkelp-dev.deb gcc libc6-dev pkg-config
in_root "$debian" sh -ec 'cd /tmp
  gcc consumer/consumer.c $(pkg-config --cflags --libs kelp) -o shared
  gcc consumer/consumer.c -Wl,-Bstatic $(pkg-config --libs kelp) -Wl,-Bdynamic -o static
  ./shared
  ./static'
needs "$debian/tmp/shared" libkelp.so.1 libc.so.6
needs "$debian/tmp/static" libc.so.6

in_root "$debian" apt-get -qq -y purge kelp-tools libkelp-dev libkelp1
left=$(find "$debian" -path "$debian/tmp" -prune -o -iname '*kelp*' -print)
[ -z "$left" ] || fail "purging left: $left"
if in_root "$debian" ldconfig -p | grep kelp; then fail "purging left the library in the linker's cache"; fi
rm -rf --one-file-system "$work"
step "The packages are good"
