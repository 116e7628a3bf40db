# Copyright 2026 The libkelp authors
# SPDX-License-Identifier: Apache-2.0
"""What the manual pages and the completions of shells say is what the kelp program takes."""

import glob
import os
import re
import shutil
import subprocess
import unittest

from test_kelp import ToolTest

SOURCE = os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../tools/kelp")


class Manual(ToolTest):
    def commands(self):
        text = self.succeeds("--help").split("Subcommands:")[1].split("\n\n")[0]
        return re.findall(r"^  (\w+) ", text, re.MULTILINE)

    def options(self, command):
        """Long options, with the short ones that stand for them."""
        text = self.succeeds(command, "--help").split("Examples:")[0]
        return set(re.findall(r"^ +(?:-\w,)?(--[\w-]+)", text, re.MULTILINE)) | {"--quiet"}

    def test_pages(self):
        commands = self.commands()
        self.assertEqual({"kelp"} | {"kelp-" + command for command in commands},
                         {os.path.basename(path)[:-5] for path in glob.glob(SOURCE + "/man/*.1.md")})
        version = self.succeeds("--version").strip()
        for command in commands:
            with open(f"{SOURCE}/man/kelp-{command}.1.md", encoding="utf-8") as file:
                page = file.read()
            self.assertIn(version, page.splitlines()[0])
            section = page.split("\n# OPTIONS\n")[1].split("\n# ")[0]
            heads = " ".join(re.findall(r"^\*\*.*", section, re.MULTILINE))
            described = re.findall(r"\*\*\\(--[\w-]+)\*\*", heads)
            self.assertEqual(sorted(self.options(command)), sorted(described), command)

    @unittest.skipUnless(shutil.which("bash"), "bash is not installed")
    def test_bash(self):
        def complete(*words):
            script = ('. "$1"; shift; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _kelp; '
                      'printf "%s\\n" "${COMPREPLY[@]}"')
            done = subprocess.run(["bash", "-c", script, "-", SOURCE + "/completions/kelp.bash",
                                   "kelp", *words], cwd=self.folder, capture_output=True, text=True,
                                  check=True)
            self.assertEqual("", done.stderr)
            return set(done.stdout.split())

        self.assertEqual(set(self.commands()), complete(""))
        for command in self.commands():
            self.assertEqual(self.options(command), complete("-q", command, "--"))
        self.assertEqual({"left"}, complete("encode", "--channel", "l"))
        self.put("a.kelp", b"")
        self.put("a.wav", b"")
        os.mkdir(self.path("folder"))
        self.assertEqual({"a.kelp", "folder"}, complete("info", ""))
        self.assertEqual({"folder"}, complete("batch", ""))
        self.assertEqual({"a.kelp", "a.wav"}, complete("decode", "a"))

    @unittest.skipUnless(shutil.which("zsh"), "zsh is not installed")
    def test_zsh(self):
        """The completion system is replaced by one that prints what it is asked to offer."""
        script = ("_arguments() { print -l -- $*; state=argument; line=($COMMAND) }; "
                  "_files() { }; . $1")
        for command in self.commands():
            done = subprocess.run(["zsh", "-f", "-c", script, "-", SOURCE + "/completions/_kelp"],
                                  env={**os.environ, "COMMAND": command}, capture_output=True,
                                  text=True, check=True)
            self.assertEqual("", done.stderr)
            offered = set(re.findall(r"^(?:\([^)]*\))?(--[\w-]+)", done.stdout, re.MULTILINE))
            self.assertEqual(self.options(command), offered - {"--version"}, command)

    @unittest.skipUnless(shutil.which("pandoc") and shutil.which("man"), "no pandoc or no man")
    def test_rendering(self):
        for source in glob.glob(SOURCE + "/man/*.md"):
            subprocess.run(["pandoc", "-s", "-f", "markdown-smart", "-t", "man", source, "-o",
                            self.path("page.1")], check=True)
            done = subprocess.run(["man", "--warnings", "-l", "page.1"], cwd=self.folder,
                                  capture_output=True, text=True, check=True,
                                  env={**os.environ, "MANWIDTH": "80", "LC_ALL": "C.UTF-8"})
            self.assertEqual("", done.stderr, source)
            self.assertNotIn("\\", done.stdout.replace("\\n", ""))


if __name__ == "__main__":
    unittest.main(verbosity=2)
