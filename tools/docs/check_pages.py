#!/usr/bin/env python3
# Copyright 2026 The libkelp authors
# SPDX-License-Identifier: Apache-2.0
"""Checks every Markdown page of the tree:  check_pages.py

- links to files and to headings lead somewhere; so do paths of the tree in `code`
- the C code of docs/GUIDE.md stands line for line in one of the examples, which are compiled and run"""

import os
import re
import subprocess
import sys

ROOT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..")
os.chdir(ROOT)
TRACKED = subprocess.run(["git", "ls-files"], check=True, capture_output=True,
                         text=True).stdout.split()
FOLDERS = {os.path.dirname(path) for path in TRACKED}
FOLDERS |= {part for folder in list(FOLDERS) for part in
            ("/".join(folder.split("/")[:n]) for n in range(1, folder.count("/") + 1))}
TOP = "|".join(sorted(folder for folder in FOLDERS if folder and "/" not in folder))
FENCE = re.compile(r"^```(\w*)\n(.*?)^```$", re.MULTILINE | re.DOTALL)
problems = []


def read(path):
    with open(path, encoding="utf-8") as file:
        return file.read()


def anchors_of(text):
    """Names that a link may have behind its #: those of headings as the usual readers make them."""
    prose = FENCE.sub("", text)
    found = set(re.findall(r'<a id="([^"]+)">', prose))
    for heading in re.findall(r"^#+ +(.*)$", prose, re.MULTILINE):
        plain = re.sub(r"\[([^]]*)\]\([^)]*\)", r"\1", heading).lower()
        found.add(re.sub(r"[^\w\- ]", "", plain).replace(" ", "-"))
    return found


def check_links(page, prose):
    for target in re.findall(r"\]\(([^)\s]+)\)", re.sub(r"`[^`\n]*`", "", prose)):
        if re.match(r"[a-z]+:", target):
            continue
        path, _, anchor = target.partition("#")
        file = os.path.normpath(os.path.join(os.path.dirname(page), path)) if path else page
        if file not in TRACKED and file not in FOLDERS:
            problems.append(f"{page}: {target}: no such file in the tree")
        elif anchor and anchor not in anchors_of(read(file)):
            problems.append(f"{page}: {target}: no such heading")


def check_paths(page, prose):
    for path in re.findall(rf"`((?:{TOP})/[\w./-]*)`", prose):
        if path.rstrip("/") not in FOLDERS and path not in TRACKED:
            problems.append(f"{page}: `{path}` is not in the tree")


def check_code(page, text, examples):
    for language, code in FENCE.findall(text):
        if language in ("c", "cpp") and "\n".join(map(str.strip, code.split("\n"))) not in examples:
            problems.append(f"{page}: in no example as it stands here:\n{code}")


def main():
    sources = [read(path) for path in TRACKED if re.match(r"examples/.*\.(c|cpp|py)$", path)]
    examples = "\n".join("\n".join(map(str.strip, text.split("\n"))) for text in sources)
    pages = [path for path in TRACKED if path.endswith(".md")]
    for page in pages:
        text = read(page)
        prose = FENCE.sub("", text)
        check_links(page, prose)
        check_paths(page, prose)
        if page == "docs/GUIDE.md":
            check_code(page, text, examples)
    if problems:
        sys.exit("\n".join(problems))
    print(f"{len(pages)} pages: links, paths and code hold")


if __name__ == "__main__":
    main()
