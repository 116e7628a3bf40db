#!/usr/bin/env python3
# Copyright 2026 The libkelp authors
# SPDX-License-Identifier: Apache-2.0
"""Tests the archives in a build folder of run.sh, and the checks that made them:
test_archives.py BUILD"""

import io
import json
import os
import subprocess
import sys
import tempfile
import unittest
import zipfile
from xml.etree import ElementTree

BUILD = sys.argv[1]
ANDROID = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
sys.path.insert(0, ANDROID)
import check_library  # noqa: E402

CODEC = os.path.join(BUILD, "package/lib/libkelp.so")


class TemporaryFolder(unittest.TestCase):
    def setUp(self):
        self.folder = self.enterContext(tempfile.TemporaryDirectory())

    def path(self, name):
        return os.path.join(self.folder, name)


class Archives(TemporaryFolder):
    def entries(self, name, libraries):
        """Files of an archive by name; its libraries must be loadable and without debug data."""
        with zipfile.ZipFile(os.path.join(BUILD, name)) as archive:
            self.assertIsNone(archive.testzip())
            archive.extractall(self.folder)
            for library in libraries:
                self.assertEqual([], check_library.faults(self.path(library)))
                self.assertNotIn(".debug", check_library.readelf(self.path(library), "--sections"))
            files = {entry: archive.read(entry) for entry in archive.namelist()}
        manifest = ElementTree.fromstring(files["AndroidManifest.xml"])
        self.assertEqual("21", manifest.find("uses-sdk").attrib.popitem()[1])
        return files

    def test_prefab_module(self):
        library = "prefab/modules/kelp/libs/android.arm64-v8a/libkelp.so"
        files = self.entries("kelp-1.0.0.aar", [library])
        package = json.loads(files["prefab/prefab.json"])
        self.assertEqual(("kelp", "1.0.0"), (package["name"], package["version"]))
        self.assertIn("export_libraries", json.loads(files["prefab/modules/kelp/module.json"]))
        abi = json.loads(files[os.path.dirname(library) + "/abi.json"])
        self.assertEqual({"abi": "arm64-v8a", "api": 21, "ndk": 0, "stl": "none"}, abi)
        with open(os.path.join(ANDROID, "../include/kelp.h"), "rb") as header:
            self.assertEqual(header.read(), files["prefab/modules/kelp/include/kelp.h"])
        self.assertFalse([name for name in files if name.startswith("jni/")])
        zipfile.ZipFile(io.BytesIO(files["classes.jar"])).close()

    def test_java_archive(self):
        files = self.entries("kelp-java-1.0.0.aar",
                             ["jni/arm64-v8a/libkelp.so", "jni/arm64-v8a/libkelp_jni.so"])
        with zipfile.ZipFile(io.BytesIO(files["classes.jar"])) as jar:
            classes = {name: jar.read(name) for name in jar.namelist() if name.endswith(".class")}
        for name in ("Decoder", "Encoder", "Kelp"):
            self.assertIn(f"org/libkelp/{name}.class", classes)
        for content in classes.values():
            self.assertEqual(52, int.from_bytes(content[6:8], "big"))  # Java 8

    def test_broken_library_makes_no_archive(self):
        lib = self.path("package/lib")
        for folder in ("include", "share"):
            os.makedirs(self.path("package"), exist_ok=True)
            os.symlink(os.path.join(BUILD, "package", folder), self.path(f"package/{folder}"))
        os.mkdir(lib)
        os.symlink(CODEC, lib + "/libkelp_jni.so")
        os.symlink(CODEC, lib + "/libkelp.so")
        done = subprocess.run([ANDROID + "/make_aar.py", "--ndk", "27", self.path("package"),
                               self.folder], capture_output=True, text=True)
        self.assertEqual(1, done.returncode)
        self.assertIn("libkelp_jni.so: SONAME is libkelp.so", done.stderr)
        self.assertEqual(["package"], os.listdir(self.folder))


class Refusals(TemporaryFolder):
    SOURCE = """static int data = 1;
                int *pointer = &data;
                void free(void *);
                void f(void) { free(pointer); }"""
    GOOD = ["--target=aarch64-linux-android21", f"--sysroot={BUILD}/ndk/sysroot", "-fuse-ld=lld",
            "-nostdlib", "-Wl,-soname,libkelp.so", "-Wl,-z,max-page-size=16384", "-lc"]

    def faults_of(self, *options, compiler="clang", good=(), source=SOURCE):
        library = self.path("libkelp.so")
        subprocess.run([compiler, "-shared", "-fPIC", "-xc", "-", "-xnone", "-o", library,
                        *(good or self.GOOD), *options], input=source, text=True, check=True)
        return check_library.faults(library)

    def test_nothing_but_the_names_is_wrong_with_the_others(self):
        faults = self.faults_of()
        self.assertEqual(1, len(faults), faults)
        self.assertIn("exports other names", faults[0])

    def test_each_fault_is_found(self):
        for options, fault in [
                (["-Wl,-z,max-page-size=4096"], "aligned to 4096, not 16384"),
                (["-Wl,-soname,libkelp.so.1"], "SONAME is libkelp.so.1, not libkelp.so"),
                (["-Wl,--no-as-needed", "-lm"], "it needs libm.so"),
                (["-Wl,--hash-style=gnu"], "no DT_HASH"),
                (["-Wl,--pack-dyn-relocs=relr"], "relocations are packed"),
                (["-Wl,--pack-dyn-relocs=android"], "relocations are packed"),
                (["-Wl,-rpath,/tmp"], "it holds DT_RUNPATH"),
                (["-Wl,-z,execstack"], "executable stack")]:
            faults = self.faults_of(*options)
            self.assertTrue([line for line in faults if fault in line], (options, faults))
        faults = self.faults_of("-Wl,-z,undefs", source="void g(void); void f(void) { g(); }")
        self.assertTrue(faults[0].startswith("g is undefined"), faults)

    def test_foreign_libraries(self):
        here = self.faults_of(good=["-nostdlib"], source="")
        self.assertEqual(1, len(here), here)
        self.assertIn("not AArch64", here[0])
        # The other linker puts data on the page that it asks to have protected.
        shared_page = self.faults_of(good=["-Wl,-z,relro,-z,now,-z,max-page-size=16384"],
                                     compiler="aarch64-linux-gnu-gcc")
        self.assertTrue([line for line in shared_page if "made read-only" in line], shared_page)
        with open(self.path("libkelp.so"), "w", encoding="ascii") as text:
            text.write("no library")
        self.assertIn("readelf: Error", check_library.faults(self.path("libkelp.so"))[0])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
