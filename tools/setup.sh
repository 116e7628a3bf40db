# Copyright 2026 The libkelp authors
# SPDX-License-Identifier: Apache-2.0
#
# Sourced by the scripts: installs Debian packages, only those that are missing.

# What building the library and the kelp tool takes.
tool_packages=(cmake ninja-build g++ libcli11-dev libpng-dev libsndfile1-dev libsoxr-dev)

# install_packages NAME...
install_packages() {
  local missing=() name root=()
  for name in "$@"; do
    dpkg-query -W -f='${db:Status-Status}' "$name" 2>/dev/null | grep -qx installed ||
      missing+=("$name")
  done
  [ ${#missing[@]} -eq 0 ] && return 0
  echo "Installing with apt-get: ${missing[*]}"
  if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null || {
      echo "Neither root nor sudo: have these packages installed first: ${missing[*]}" >&2
      return 1
    }
    root=(sudo)
  fi
  "${root[@]}" apt-get update -q </dev/null
  "${root[@]}" env DEBIAN_FRONTEND=noninteractive \
    apt-get install -q -y --no-install-recommends "${missing[@]}" </dev/null
}
