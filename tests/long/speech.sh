#!/usr/bin/env bash
# Copyright 2026 The libkelp authors
# SPDX-License-Identifier: Apache-2.0
#
# Joins Debian's recorded prompts, in five languages by turns and over again when they run out, into
# MINUTES of speech:   tests/long/speech.sh MINUTES OUT.raw   (raw: 16-bit samples, 8000 Hz)
set -euo pipefail
cd "$(dirname "$0")/../.."
. tools/setup.sh
minutes=${1:?usage: speech.sh MINUTES OUT.raw} out=${2:?usage: speech.sh MINUTES OUT.raw}
install_packages sox asterisk-core-sounds-{en,es,fr,it,ru}{,-wav}

bytes=$((minutes * 60 * 16000))
: >"$out"
while [ "$(stat -c %s "$out")" -lt "$bytes" ]; do
  # By base name first: the same prompt in every language, then the next prompt.
  find /usr/share/asterisk/sounds/*_* -maxdepth 1 -name '*.wav' -printf '%f %p\n' | LC_ALL=C sort |
    cut -d' ' -f2 | sed -n "1,$((60 + 20 * minutes))p" | xargs -n 300 sh -c \
    'sox "$@" -t raw -r 8000 -c 1 -e signed -b 16 -' sh >>"$out"
done
truncate -s "$bytes" "$out"
