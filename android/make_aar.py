#!/usr/bin/env python3
# Copyright 2026 The libkelp authors
# SPDX-License-Identifier: Apache-2.0
"""Packs what `cmake --install` laid down of an Android build as two archives for Gradle:
kelp-VERSION.aar, a prefab module for hosts in C and C++, and kelp-java-VERSION.aar, the classes with
their native libraries. Libraries that Android would not load are refused."""

import argparse
import io
import json
import os
import re
import sys
import zipfile

import check_library

ABI = "arm64-v8a"
API = 21  # as the preset android-arm64 and check_library.py have it
LICENSE = os.path.join(os.path.dirname(os.path.abspath(__file__)), "../LICENSE")
# Native code finds classes and methods by their names.
KEEP = "-keepclasseswithmembernames class org.libkelp.* { native <methods>; }\n"


def manifest(package):
    return f"""<?xml version="1.0" encoding="utf-8"?>
<manifest xmlns:android="http://schemas.android.com/apk/res/android" package="{package}">
  <uses-sdk android:minSdkVersion="{API}" />
</manifest>
"""


def as_json(value):
    return json.dumps(value, indent=2) + "\n"


def archive(entries):
    """A zip file in memory; the same entries give the same bytes."""
    content = io.BytesIO()
    with zipfile.ZipFile(content, "w", zipfile.ZIP_DEFLATED) as zip_file:
        for name, data in entries.items():
            zip_file.writestr(zipfile.ZipInfo(name), data, zipfile.ZIP_DEFLATED)
    return content.getvalue()


def native_archive(tree, version, ndk):
    module = "prefab/modules/kelp"
    library = f"{module}/libs/android.{ABI}"
    return archive({
        "AndroidManifest.xml": manifest("org.libkelp.prefab"),
        "LICENSE": tree["LICENSE"],
        "classes.jar": archive({"META-INF/MANIFEST.MF": "Manifest-Version: 1.0\n\n"}),
        "prefab/prefab.json": as_json(
            {"schema_version": 1, "name": "kelp", "version": version, "dependencies": []}),
        f"{module}/module.json": as_json({"export_libraries": [], "android": {}}),
        f"{module}/include/kelp.h": tree["kelp.h"],
        f"{library}/abi.json": as_json({"abi": ABI, "api": API, "ndk": ndk, "stl": "none"}),
        f"{library}/libkelp.so": tree["libkelp.so"],
    })


def java_archive(tree):
    return archive({
        "AndroidManifest.xml": manifest("org.libkelp"),
        "LICENSE": tree["LICENSE"],
        "classes.jar": tree["kelp.jar"],
        "proguard.txt": KEEP,
        f"jni/{ABI}/libkelp.so": tree["libkelp.so"],
        f"jni/{ABI}/libkelp_jni.so": tree["libkelp_jni.so"],
    })


def write(folder, name, content):
    path = os.path.join(folder, name)
    with open(path + ".part", "wb") as file:
        file.write(content)
    os.replace(path + ".part", path)
    print(path)


def make(prefix, folder, ndk):
    paths = {"kelp.h": "include", "libkelp.so": "lib", "libkelp_jni.so": "lib",
             "kelp.jar": "share/java"}
    tree = {}
    for name, path in [(name, os.path.join(prefix, place, name))
                       for name, place in paths.items()] + [("LICENSE", LICENSE)]:
        with open(path, "rb") as file:
            tree[name] = file.read()
        found = check_library.faults(path) if name.endswith(".so") else []
        if found:
            return [f"{path}: {fault}" for fault in found]
    version = re.search(rb'KELP_VERSION_STRING "(.*)"', tree["kelp.h"])[1].decode()
    write(folder, f"kelp-{version}.aar", native_archive(tree, version, ndk))
    write(folder, f"kelp-java-{version}.aar", java_archive(tree))
    return []


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--ndk", type=int, required=True,
                        help="major version of the NDK that the libraries were built with")
    parser.add_argument("prefix", help="where cmake --install BUILD --prefix PREFIX put them")
    parser.add_argument("folder", help="where the archives go; older ones are replaced")
    arguments = parser.parse_args()
    try:
        found = make(arguments.prefix, arguments.folder, arguments.ndk)
    except OSError as error:
        found = [f"{error.filename}: {error.strerror}"]
    for fault in found:
        print(f"make_aar.py: {fault}", file=sys.stderr)
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
