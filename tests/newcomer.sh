#!/usr/bin/env bash
# Copyright 2026 The libkelp authors
# SPDX-License-Identifier: Apache-2.0
#
# A newcomer's first minutes on a clean Debian 12, with what each step took:  tests/newcomer.sh
# From a fresh clone to decoded speech (demo.sh), and on to a program of their own (the one in
# README.md) built against installed packages. Packages are downloaded and everything is compiled; the
# system itself and the clone are there before the clock starts.
set -euo pipefail
cd "$(dirname "$0")/.."
. tools/setup.sh
. tests/clean_root.sh

install_packages debootstrap git
debian=$PWD/build-newcomer
clean_root "$debian"
mkdir "$debian/root/libkelp"
git ls-files -z | tar --null -T - -c | tar -C "$debian/root/libkelp" -x
{
  printf '#include <stdio.h>\n#include <kelp.h>\nint main(void) {\n'
  sed -n '/^```c$/,/^```$/ { /^```/d; p }' README.md
  printf '}\n'
} >"$debian/root/app.c"

SECONDS=0
in_root "$debian" /root/libkelp/demo.sh
heard=$SECONDS
# Someone who installs by hand types what README.md says.
in_root "$debian" sh -exc 'cd /root/libkelp
  apt-get install -q -y --no-install-recommends dpkg-dev pkg-config
  cmake --preset debian
  cmake --build build-debian --target package
  apt-get install -q -y ./build-debian/*.deb
  cc -o app /root/app.c $(pkg-config --cflags --libs kelp)
  ./app'
linked=$SECONDS
ls -l "$debian/root/libkelp/demo-output/decoded.wav"
rm -rf --one-file-system "$debian"
printf '\nDecoded speech after %d:%02d minutes, a program of their own after %d:%02d (%d processors, load %s)\n' \
  $((heard / 60)) $((heard % 60)) $((linked / 60)) $((linked % 60)) "$(nproc)" "$(cut -d' ' -f1 /proc/loadavg)"
