#!/usr/bin/env python3
# Copyright 2026 The libkelp authors
# SPDX-License-Identifier: Apache-2.0
"""Checks that Android loads libkelp.so or libkelp_jni.so: arm64-v8a, from API level 21 on, pages of 4
and 16 KB.   check_library.py LIBRARY...   (needs readelf, or the name or path of one in READELF)"""

import os
import re
import subprocess
import sys

PAGE = 16384
EXPORTS = os.path.join(os.path.dirname(os.path.abspath(__file__)), "../cmake/exported_symbols.txt")
LIBC = {"malloc", "free", "memcpy", "memmove", "memset", "__stack_chk_fail"}


class Unreadable(Exception):
    """What readelf says of a file that it cannot read."""


def codec_exports():
    with open(EXPORTS, encoding="ascii") as file:
        return set(file.read().split())


def readelf(path, *options):
    program = os.environ.get("READELF", "readelf")
    try:
        done = subprocess.run([program, "--wide", *options, path], capture_output=True, text=True)
    except OSError as error:
        raise Unreadable(f"cannot run {program}: {error.strerror}; install binutils, or name the "
                         "NDK's llvm-readelf in READELF") from error
    if done.returncode != 0:
        raise Unreadable(done.stderr.strip())
    return done.stdout


def check_kind(path):
    header = readelf(path, "--file-header")
    for field, word in (("Class", "ELF64"), ("Type", "DYN"), ("Machine", "AArch64")):
        found = re.search(rf"^ +{field}: +(.*)$", header, re.MULTILINE)[1]
        if word not in found:
            yield f"{field} is {found}, not {word}: build it for arm64-v8a"


def check_segments(path):
    rows = [line.split() for line in readelf(path, "--program-headers").splitlines()]
    segments = []  # type, file offset, address, bytes in memory, flags, alignment
    for row in rows:
        if len(row) > 6 and row[1].startswith("0x"):
            segments.append((row[0], int(row[1], 16), int(row[2], 16), int(row[5], 16),
                             "".join(row[6:-1]), int(row[-1], 16)))
    loads = [segment for segment in segments if segment[0] == "LOAD"]
    if not loads:
        yield "nothing to load in it"
    for _, offset, address, _, flags, alignment in loads:
        if alignment % PAGE or (address - offset) % PAGE:
            yield (f"the segment at {address:#x} is aligned to {alignment}, not {PAGE}: link with "
                   f"-Wl,-z,max-page-size={PAGE}")
        if "W" in flags and "E" in flags:
            yield f"the segment at {address:#x} is writable and executable"
    for kind, _, address, size, flags, _ in segments:
        if kind == "GNU_STACK" and "E" in flags:
            yield "it asks for an executable stack: link with -Wl,-z,noexecstack"
        # The loader protects whole pages: data that shares the last one could not be written.
        end = address + size
        protected = (end + PAGE - 1) // PAGE * PAGE
        if kind == "GNU_RELRO" and any("W" in load[4] and load[2] < protected
                                       and load[2] + load[3] > end for load in loads):
            yield (f"data behind {end:#x} would be made read-only on {PAGE}-byte pages: link "
                   "with lld")


def check_dynamic(path, needed):
    dynamic = readelf(path, "--dynamic")
    name = os.path.basename(path)
    soname = re.findall(r"\(SONAME\).*\[(.*)\]", dynamic)
    if soname != [name]:
        yield f"SONAME is {', '.join(soname) or 'missing'}, not {name}"
    for library in re.findall(r"\(NEEDED\).*\[(.*)\]", dynamic):
        if library not in needed:
            yield f"it needs {library}, where {' and '.join(needed)} should do"
    if "(HASH)" not in dynamic:
        yield "no DT_HASH, and API levels below 23 read no other: link with -Wl,--hash-style=both"
    # readelf says nothing of the tags that packed relocations have on Android, and only of theirs.
    packed = "RELR)" in dynamic or ("(RELAENT)" in dynamic and "(RELA)" not in dynamic)
    if packed:
        yield ("its relocations are packed, and API level 21 does not read them: link with "
               "-Wl,--pack-dyn-relocs=none")
    for tag in ("TEXTREL", "RPATH", "RUNPATH"):
        if f"({tag})" in dynamic:
            yield f"it holds DT_{tag}, which no library for Android should"


def check_symbols(path, allowed, exports):
    rows = [line.split() for line in readelf(path, "--dyn-syms").splitlines()]
    rows = [row for row in rows if len(row) > 7 and row[4] in ("GLOBAL", "WEAK")]
    names = {row[7].split("@")[0] for row in rows if row[6] == "UND" and row[4] == "GLOBAL"}
    for name in sorted(names - allowed):
        yield f"{name} is undefined, and not among what may be taken from others"
    exported = {row[7].split("@")[0] for row in rows if row[6] != "UND"}
    if not exports(exported):
        yield "it exports other names than it should: was it linked with its list of exports?"


def faults(path):
    """What is wrong with a library, line by line. Its file name says which of the two it is."""
    codec = codec_exports()
    if "jni" in os.path.basename(path):
        needed, allowed = ("libkelp.so", "libc.so"), LIBC | codec
        java = re.compile(r"JNI_OnLoad|Java_org_libkelp_\w+")

        def exports(names):
            return "JNI_OnLoad" in names and len(names) > 1 and all(map(java.fullmatch, names))
    else:
        needed, allowed = ("libc.so",), LIBC

        def exports(names):
            return names == codec
    try:
        return list(check_kind(path)) or [*check_segments(path), *check_dynamic(path, needed),
                                          *check_symbols(path, allowed, exports)]
    except Unreadable as error:
        return [str(error)]


def main(paths):
    if not paths or paths[0].startswith("-"):
        print(__doc__, file=sys.stdout if "--help" in paths else sys.stderr)
        return 0 if "--help" in paths else 2
    status = 0
    for path in paths:
        found = faults(path)
        for fault in found:
            print(f"{path}: {fault}", file=sys.stderr)
            status = 1
        if not found:
            print(f"{path}: good for Android from API level 21 on, pages of 4 and 16 KB")
    return status


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
