#!/usr/bin/env bash
# Copyright 2026 The libkelp authors
# SPDX-License-Identifier: Apache-2.0
#
# Assembles the speech that the LSP codebooks are trained and judged on:  corpus.sh DIR
#
# The recordings are those of Debian packages; they are unpacked in DIR/packages, not installed.
# Leaves DIR/train.list, DIR/heldout.list and DIR/SOURCES.txt. Same packages, same bytes.
set -euo pipefail
if [ $# -ne 1 ]; then
  echo "usage: corpus.sh DIR" >&2
  exit 2
fi
tools=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
mkdir -p "$1/packages"
dir=$(cd "$1" && pwd)
export LC_ALL=C.UTF-8

. "$tools/../setup.sh"
install_packages sox libsox-fmt-all sndfile-programs python3-numpy python3-scipy

# Prompts that were coded for the telephone once (the -gsm and -g722 variants, and
# asterisk-prompt-es-co and asterisk-prompt-fr-armelle, which are GSM only) have lost the spectra
# that the codebooks are to learn.
packages=(
  asterisk-core-sounds-{en,es,fr,it,ru}-wav asterisk-prompt-it-menardi-wav
  codec2-examples festvox-ru fillets-ng-data-{cs,nl} gcin-voice hedgewars-data klettres-data
  ktuberling-data pocketsphinx-testdata tuxpaint-stamps-default
)

echo "== Packages"
have=()
for name in "${packages[@]}"; do
  version=$(apt-cache policy "$name" | awk '$1 == "Candidate:" { print $2 }')
  if [ -z "$version" ] || [ "$version" = "(none)" ]; then
    echo "$name: not offered by the package sources; left out"
    continue
  fi
  stamp=$dir/packages/$name.version
  if [ "$(cat "$stamp" 2>/dev/null)" != "$version" ]; then
    rm -rf "$dir/packages/$name" "$stamp"
    mkdir -p "$dir/packages/$name.deb"
    (cd "$dir/packages/$name.deb" &&
      apt-get download -q -o APT::Sandbox::User=root "$name=$version" &&
      dpkg-deb -x ./*.deb ../"$name")
    rm -rf "$dir/packages/$name.deb"
    echo "$version" >"$stamp"
  fi
  have+=("$name")
done
if [ ${#have[@]} -eq 0 ]; then
  echo "corpus.sh: no recordings to be had; run apt-get update first" >&2
  exit 1
fi

echo "== Recordings"
# Not whichever python3 comes first: Debian's has the modules installed above.
/usr/bin/python3 "$tools/corpus.py" "$dir" "${have[@]}"
