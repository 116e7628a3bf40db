#!/usr/bin/env python3
# Copyright 2026 The libkelp authors
# SPDX-License-Identifier: Apache-2.0
"""The shared library as a file:  library_file_test.py READELF LIBRARY HOST EXPORTS INSTRUMENTS"""

import re
import subprocess
import sys
import unittest

READELF, LIBRARY, HOST, EXPORTS, INSTRUMENTS = sys.argv[1:6]


def readelf(option, path=LIBRARY):
    return subprocess.run([READELF, "--wide", option, path], check=True, capture_output=True,
                          text=True).stdout


class LibraryFile(unittest.TestCase):
    def test_exports(self):
        rows = [line.split() for line in readelf("--dyn-syms").splitlines()]
        address = {row[7]: row[1] for row in rows
                   if len(row) == 8 and row[4] in ("GLOBAL", "WEAK") and row[6] != "UND"}
        with open(EXPORTS) as expected:
            self.assertEqual(sorted(address), sorted(expected.read().split()))
        self.assertTrue(all(row[5] == "DEFAULT" for row in rows if row[7:] and row[7] in address))
        for name, second in (("kelp_deinit", "kelp_platform_deinit"),
                             ("kelp_q", "kelp_platform_init"),
                             ("kcmn_malloc_align32", "kcmn_malloc_fast_align32"),
                             ("kcmn_mfree_align32", "kcmn_mfree_fast_align32")):
            self.assertEqual(address[name], address[second])

    def test_dynamic_section(self):
        dynamic = readelf("--dynamic")
        self.assertEqual(re.findall(r"SONAME.*\[(.*)\]", dynamic), ["libkelp.so.1"])
        needed = [name for name in re.findall(r"NEEDED.*\[(.*)\]", dynamic)
                  if not name.startswith("ld-linux")]
        self.assertEqual(needed, ["libc.so.6"])
        self.assertRegex(dynamic, r"FLAGS\S*\).*\bNOW")
        self.assertNotIn("SYMBOLIC", dynamic)

    def test_segments(self):
        segments = readelf("--program-headers")
        loads = re.findall(r"^ +LOAD .* (\w+)$", segments, re.MULTILINE)
        self.assertTrue(loads)
        self.assertEqual(set(loads), {"0x4000"})
        self.assertIn("GNU_RELRO", segments)
        self.assertRegex(segments, r"GNU_STACK .* RW +\w+\n")  # not executable

    def test_stack_protector(self):
        self.assertIn("__stack_chk_fail", readelf("--dyn-syms"))

    def test_host_has_its_own_copy_of_the_flag(self):
        self.assertRegex(readelf("--relocs", HOST), r"_COPY\b.* kelp_inited\b")


if __name__ == "__main__":
    if INSTRUMENTS:
        print("skipped: sanitizers and coverage add libraries and symbols of their own")
        sys.exit(77)
    unittest.main(argv=sys.argv[:1])
