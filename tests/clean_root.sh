# Copyright 2026 The libkelp authors
# SPDX-License-Identifier: Apache-2.0
#
# Sourced by the scripts that install into a clean Debian 12: needs root, for debootstrap and chroot.

# clean_root DIRECTORY: a new minimal system there. What debootstrap made is kept in ~/.cache/libkelp,
# so that only the first one takes a minute.
clean_root() {
  local cache=${XDG_CACHE_HOME:-$HOME/.cache}/libkelp mirror=${DEBIAN_MIRROR:-http://deb.debian.org/debian}
  local system
  system=$cache/bookworm-$(dpkg --print-architecture)
  if [ "$(id -u)" -ne 0 ]; then
    echo "clean_root: debootstrap and chroot need root" >&2
    return 1
  fi
  if [ ! -f "$system.tar" ]; then
    mkdir -p "$cache"
    rm -rf --one-file-system "$system"
    debootstrap --variant=minbase bookworm "$system" "$mirror" >"$system.log" 2>&1 || {
      tail -n 20 "$system.log" >&2
      echo "clean_root: debootstrap failed, see $system.log" >&2
      return 1
    }
    rm -f "$system"/var/cache/apt/archives/*.deb
    tar -C "$system" -cf "$system.tar.part" .
    mv "$system.tar.part" "$system.tar"
    rm -rf --one-file-system "$system"
  fi
  rm -rf --one-file-system "$1"
  mkdir -p "$1"
  tar -C "$1" -xf "$system.tar"
  echo force-unsafe-io >"$1/etc/dpkg/dpkg.cfg.d/unsafe-io" # it need not survive a power cut
  echo 'Dpkg::Use-Pty "0";' >"$1/etc/apt/apt.conf.d/no-terminal"
  cp -L /etc/resolv.conf "$1/etc/resolv.conf"
}

# install_in_root DIRECTORY PACKAGE...: packages by name, or files by their path there.
install_in_root() {
  in_root "$1" apt-get -qq -y install --no-install-recommends "${@:2}"
}

# in_root DIRECTORY COMMAND [ARGUMENT...]
in_root() {
  chroot "$1" env -i HOME=/root PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C.UTF-8 \
    DEBIAN_FRONTEND=noninteractive "${@:2}" </dev/null
}
