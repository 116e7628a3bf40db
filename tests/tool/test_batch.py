# Copyright 2026 The libkelp authors
# SPDX-License-Identifier: Apache-2.0
"""kelp batch on small archives: what is done, what is left, and what interruptions leave behind."""

import array
import os
import pty
import shutil
import signal
import subprocess
import time
import unittest

from test_kelp import KELP, ToolTest, packet

LONG = packet(1, 0) * 2000000  # more than ten seconds of work


class BatchTest(ToolTest):
    def put(self, name, content):
        os.makedirs(os.path.dirname(self.path(name)), exist_ok=True)
        super().put(name, content)

    def put_streams(self, count):
        names = [f"{'abc'[n % 3]}/call {n}.kelp" for n in range(count)]
        for n, name in enumerate(names):
            self.put("in/" + name, packet(4, n) * (n + 1))
        return names

    def batch(self, *options, status=0):
        done = self.kelp("batch", "in", "out", "-j", "2", *options)
        self.assertEqual(status, done.returncode, done)
        return done

    def outputs(self):
        """What a user sees in the output folder: contents, and which files they are."""
        found = {}
        for folder, _, names in os.walk(self.path("out")):
            for name in names:
                path = os.path.join(folder, name)
                if ".kelp-batch" not in folder:
                    with open(path, "rb") as file:
                        one = os.stat(path)
                        found[os.path.relpath(path, self.path("out"))] = (
                            file.read(), (one.st_ino, one.st_mtime_ns))
        return found

    def remade(self, before):
        """Names of outputs that are new or were made again since `before`."""
        return sorted(n for n, o in self.outputs().items() if before.get(n, (0, 0))[1] != o[1])


class Archives(BatchTest):
    def test_both_ways(self):
        """Folders within folders; the same bytes as from encode and decode; the rest left alone."""
        self.put("in/notes.txt", b"none of these")
        self.put("in/.hidden.wav", b"none of these")
        os.makedirs(self.path("in/deep/er"))
        for n, name in enumerate(["in/A.WAV", "in/deep/b.wav", "in/deep/er/c.d.wav"]):
            self.put_wav(name, array.array("h", [(k * k * (n + 7)) % 9001 for k in range(4000)]))
        text = self.batch("--encode").stdout
        self.assertIn("3 files: 3 encoded; 1 file of other kinds left alone", text)
        self.assertEqual({"A.kelp", "deep/b.kelp", "deep/er/c.d.kelp"}, set(self.outputs()))
        self.succeeds("encode", "in/deep/b.wav", "b.kelp")
        self.assertEqual(self.get("b.kelp"), self.get("out/deep/b.kelp"))
        os.rename(self.path("out"), self.path("streams"))
        self.succeeds("batch", "streams", "out", "--decode")
        self.succeeds("decode", "b.kelp", "b.wav")
        self.assertEqual(self.get("b.wav"), self.get("out/deep/b.wav"))

    def test_one_bad_file(self):
        self.put_streams(6)
        self.put("in/a/bad.kelp", packet(4) + b"\4")
        done = self.batch("--decode", status=1)
        self.assertIn("in/a/bad.kelp: byte 35:", done.stderr)
        self.assertIn("1 of 7 files failed; out/kelp-batch.log tells why", done.stderr)
        kind, name, text = self.get("out/kelp-batch.log").decode().rstrip("\n").split("\t")
        self.assertEqual(("failed", "a/bad.kelp"), (kind, name))
        self.assertIn("byte 35", text)
        self.assertEqual(7, len(self.outputs()))  # six recordings and the log
        self.put("in/a/bad.kelp", packet(4))
        self.assertIn("7 files: 1 decoded, 6 finished before", self.batch("--decode").stdout)
        self.assertNotIn("kelp-batch.log", self.outputs())

    def test_what_is_done_again(self):
        self.put_streams(6)
        self.batch("--decode")
        before = self.outputs()
        self.batch("--decode")
        self.assertEqual([], self.remade(before))
        with open(self.path("out/a/call 0.wav"), "r+b") as file:  # as a broken copy leaves it
            file.truncate(100)
        self.put("in/b/call 1.kelp", packet(3) * 2)
        os.utime(self.path("in/b/call 1.kelp"), (1, 1))  # changed, though its time is old
        os.remove(self.path("out/c/call 2.wav"))
        self.assertIn("3 decoded, 3 finished", self.batch("--decode").stdout)
        self.assertEqual(["a/call 0.wav", "b/call 1.wav", "c/call 2.wav"], self.remade(before))
        self.assertEqual(before["a/call 0.wav"][0], self.get("out/a/call 0.wav"))
        before = self.outputs()
        self.batch("--decode", "-f")
        self.assertEqual(6, len(self.remade(before)))

    def test_options(self):
        """Options of encode and decode hold for every file; with others it is done again."""
        self.put("in/a.raw", array.array("h", range(1600)).tobytes())
        self.put("in/b.wav", b"not asked for")
        self.batch("--encode", "--raw")
        plain = self.outputs()
        self.assertEqual({"a.kelp"}, set(plain))
        self.assertIn("1 encoded", self.batch("--encode", "--raw", "--gain", "6").stdout)
        self.assertNotEqual(plain["a.kelp"][0], self.get("out/a.kelp"))
        self.assertIn("1 finished", self.batch("--encode", "--raw", "--gain", "6").stdout)
        for options, name, length in [(["--raw"], "a.raw", 3520), (["--raw", "--trim"], "a.raw", 3400),
                                      (["--flac"], "a.flac", None)]:
            self.succeeds("batch", "out", "back", "--decode", *options)
            content = self.get("back/" + name)
            self.assertTrue(len(content) == length or content.startswith(b"fLaC"))
        for wrong in [["--decode", "--gain", "3"], ["--encode", "--trim"], ["--encode", "--flac"]]:
            self.fails("batch", "in", "out", *wrong, names=["only"], status=2)

    def test_strangers(self):
        """A recording that no batch has made is not overwritten, and two files get no one output."""
        self.put("in/a.kelp", packet(4))
        self.put("in/a.wav", b"the original")
        for _ in range(2):
            done = self.kelp("batch", "in", "in", "--decode")
            self.assertEqual(1, done.returncode)
            self.assertIn("in/a.wav: exists already", done.stderr)
            self.assertEqual(b"the original", self.get("in/a.wav"))
        self.succeeds("batch", "in", "in", "--decode", "--force")
        self.put_wav("in/b.wav", array.array("h", [1] * 160))
        shutil.copy(self.path("in/b.wav"), self.path("in/b.WAV"))
        done = self.kelp("batch", "in", "out", "--encode")
        self.assertIn("its output b.kelp is that of b.WAV too", done.stderr)
        self.assertEqual(1, done.returncode)

    def test_usage(self):
        self.put_streams(1)
        for options in [[], ["--decode", "--encode"], ["--decode", "-j", "0"],
                        *(["--decode", "--shard", s] for s in ["0/3", "4/3", "2", "1/2/3", "-1/2"])]:
            self.assertEqual(2, self.kelp("batch", "in", "out", *options).returncode, options)
        self.assertFalse(os.path.exists(self.path("out")))
        os.mkdir(self.path("empty"))
        self.fails("batch", "empty", "out", "--decode", names=["empty: holds no .kelp stream"])
        self.fails("batch", "missing", "out", "--decode", names=["missing: is no folder"])


class Shards(BatchTest):
    def test_stable(self):
        """A file's shard may never change: running array jobs and later versions count on it."""
        self.put_streams(12)
        expected = [[4], [2, 5, 6], [0, 3, 7, 8, 11], [1, 10], [9]]
        for k, numbers in enumerate(expected, 1):
            shutil.rmtree(self.path("out"), ignore_errors=True)
            text = self.batch("--decode", "--shard", f"{k}/5").stdout
            self.assertIn(f"{12 - len(numbers)} in other shards", text)
            self.assertEqual(numbers, sorted(int(name[7:-4]) for name in self.outputs()))

    @unittest.skipUnless(shutil.which("parallel"), "GNU parallel is not installed")
    def test_gnu_parallel(self):
        self.put_streams(40)
        self.put("in/bad.kelp", b"\4")
        command = [KELP, "batch", "in", "out", "--decode", "-j1", "--shard", "{}/4"]
        done = subprocess.run(["parallel", "--will-cite", "-q", *command, ":::", *"1234"],
                              cwd=self.folder, capture_output=True, text=True, timeout=300)
        self.assertEqual(1, done.returncode)  # one of the jobs failed
        self.assertEqual(40, sum(n.endswith(".wav") for n in self.outputs()))
        counts = [int(line.split(": ")[1].split()[0])
                  for line in done.stdout.splitlines() if " decoded" in line]
        self.assertEqual((4, 40), (len(counts), sum(counts)))
        # Any other split goes on from what these have done.
        self.assertIn("40 finished before, 1 failed", self.batch("--decode", status=1).stdout)


class Interruptions(BatchTest):
    def start(self):
        """A batch whose short streams are done while it works on the long one."""
        self.put_streams(6)
        self.put("in/long.kelp", LONG)
        process = subprocess.Popen([KELP, "batch", "in", "out", "--decode", "-j", "2"],
                                   cwd=self.folder, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                   text=True)
        journal = self.path("out/.kelp-batch/1-of-1")
        for _ in range(3000):
            time.sleep(0.01)
            if os.path.exists(journal):
                with open(journal, encoding="utf-8") as file:
                    lines = [line for line in file if line.strip()]
                if len(lines) == 7 + 6:  # all begun, the short ones finished
                    time.sleep(0.1)
                    return process
        self.fail("never came to the last file")

    def test_signals(self):
        for number in [signal.SIGINT, signal.SIGTERM, signal.SIGHUP]:
            shutil.rmtree(self.path("out"), ignore_errors=True)
            process = self.start()
            process.send_signal(number)
            stdout, stderr = process.communicate(timeout=60)
            self.assertEqual(-number, process.returncode)
            self.assertIn("6 decoded", stdout)
            self.assertIn("interrupted", stderr)
            self.assertEqual(6, len(self.outputs()))  # and no temporary file
        self.put("in/long.kelp", packet(4))
        self.assertIn("7 files: 1 decoded, 6 finished before", self.batch("--decode").stdout)

    def test_kill(self):
        """Nothing under the name of an output is half-written, whatever ends the program."""
        process = self.start()
        process.kill()
        process.communicate()
        self.assertFalse(os.path.exists(self.path("out/long.wav")))
        self.put("in/long.kelp", packet(4))
        self.assertIn("7 files: 1 decoded, 6 finished before", self.batch("--decode").stdout)


class Terminal(BatchTest):
    def test_progress(self):
        """A bar on a terminal and only there."""
        self.put_streams(3)
        self.assertEqual("", self.batch("--decode").stderr)
        self.put("in/long.kelp", LONG[:len(LONG) // 10])  # enough for a first drawing
        master, terminal = pty.openpty()
        for options, expected in [([], r"\[#*-+\] +\d+ %  [0-3]/4 files  \d+ x real time"),
                                  (["-q"], r"^$")]:
            process = subprocess.Popen([KELP, "batch", "in", "out", "--decode", "-f", *options],
                                       cwd=self.folder, stdout=subprocess.DEVNULL, stderr=terminal)
            process.wait(timeout=60)
            os.write(terminal, b"END")
            seen = b""
            while not seen.endswith(b"END"):
                seen += os.read(master, 65536)
            self.assertRegex(seen[:-3].decode(), expected)
        os.close(master)
        os.close(terminal)


if __name__ == "__main__":
    unittest.main(verbosity=2)
