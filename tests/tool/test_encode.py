# Copyright 2026 The libkelp authors
# SPDX-License-Identifier: Apache-2.0
"""kelp encode: recordings of every kind, through pipes, at every level."""

import array
import json
import math
import os
import random
import re
import shutil
import subprocess
import unittest

from test_kelp import KELP, SPEECH, ToolTest, rates_of

SOX = shutil.which("sox")
UNKNOWN = [b"\0\0\0\0", b"\xFF\xFF\xFF\xFF", b"\x00\xF0\xFF\x7F"]
NO_LENGTH = "its header gives no length"


def noise(seconds, seed=1, level=3000):
    generator = random.Random(seed)
    return array.array("h", [int(generator.gauss(0, level)) for _ in range(int(8000 * seconds))])


def without_length(wav, mark):
    at = wav.index(b"data") + 4
    return wav[:4] + mark + wav[8:at] + mark + wav[at + 4:]


class Recordings(ToolTest):
    def encoded(self, name, *options, note=""):
        """The stream that a file gives; a pipe with the same content gives the same."""
        done = self.kelp("encode", "-f", *options, name, "out.kelp")
        self.assertEqual((0, note != ""), (done.returncode, done.stderr != ""), done.stderr)
        self.assertIn(note, done.stderr)
        stream = self.get("out.kelp")
        self.assertEqual(stream, self.pipe(["encode", *options, "-", "-"], self.get(name)))
        return stream

    def sox(self, *arguments):
        subprocess.run(["sox", *arguments], cwd=self.folder, check=True)

    @unittest.skipUnless(SOX, "sox is not installed")
    def test_formats(self):
        self.put_wav("in.wav", noise(5))
        wav = self.get("in.wav")
        self.put("list.wav", wav + b"LIST\x08\0\0\0words..")  # behind the samples
        expected = self.encoded("in.wav")
        self.assertEqual(expected, self.encoded("list.wav"))
        self.put("in.raw", wav[44:])
        self.assertEqual(expected, self.encoded("in.raw", "--raw"))
        for name, *options in [("a.flac",), ("a.aiff",), ("a.au",), ("a.caf",), ("a.w64",),
                               ("b.wav", "-b", "24"), ("c.wav", "-e", "float")]:
            with self.subTest(name=name, options=options):
                self.sox("in.wav", *options, name)
                self.assertEqual(expected, self.encoded(name))
        self.sox("in.wav", "a.ogg")
        self.encoded("a.ogg")  # which does not say at its start how long it is

    @unittest.skipUnless(SOX and SPEECH, "sox or asterisk-core-sounds-en-wav is not installed")
    def test_rates(self):
        """Speech at other rates decodes to what it does at 8000 Hz; what lies above is gone."""
        self.sox(SPEECH[0], "a8000.wav", "trim", "1", "4")
        for rate in [8000, 11025, 44100, 48000]:
            name = f"a{rate}.wav"
            if rate != 8000:
                self.sox("a8000.wav", "-r", str(rate), name)
            self.put("a.kelp", self.encoded(name))
            self.assertEqual(201, len(rates_of(self.get("a.kelp"))))
            self.succeeds("decode", "-f", "--trim", "a.kelp", f"d{rate}.wav")
            figures = json.loads(self.succeeds("compare", "--json", "d8000.wav", f"d{rate}.wav"))
            self.assertEqual(0, figures["delay_samples"])
            self.assertGreater(figures["correlation"], 0.9)
        tone = [int(20000 * math.sin(2 * math.pi * 5000 * n / 16000)) for n in range(16000)]
        self.put_wav("high.wav", array.array("h", tone), rate=16000)
        self.put("a.kelp", self.encoded("high.wav"))
        self.succeeds("decode", "-f", "a.kelp", "d.wav")
        self.assertLess(max(map(abs, self.get_wav("d.wav")[1600:-1600])), 20)

    def test_channels(self):
        one, two = noise(1), noise(1, seed=2)
        both = array.array("h", [sample for pair in zip(one, two) for sample in pair])
        mean = [(a + b) / 2 for a, b in zip(one, two)]
        self.put_wav("both.wav", both, channels=2)
        for channel, samples in [("left", one), ("right", two), ("mix", map(round, mean))]:
            self.put_wav("one.wav", array.array("h", samples))
            self.assertEqual(self.encoded("one.wav"),
                             self.encoded("both.wav", "--channel", channel))
        self.assertEqual(self.encoded("both.wav", "--channel", "mix"),
                         self.encoded("both.wav", note="its 2 channels are mixed"))
        self.fails("encode", "--channel", "middle", "both.wav", "a.kelp",
                   names=["left, right or mix"], status=2)

    def test_headers_without_length(self):
        """A recorder that broke off, or a pipe: what is there counts, with a note."""
        for width in [2, 3]:
            samples = [value << 8 * (width - 2) for value in noise(5)]
            content = b"".join(value.to_bytes(width, "little", signed=True) for value in samples)
            self.put_wav("in.wav", content, width=width)
            expected = self.encoded("in.wav")
            for mark in UNKNOWN:
                self.put("open.wav", without_length(self.get("in.wav"), mark))
                done = self.kelp("encode", "-f", "open.wav", "a.kelp")
                self.assertEqual(expected, self.get("a.kelp"))
                # The last mark is a length that a file is too short for, not one that is unknown.
                self.assertEqual(mark != UNKNOWN[2], NO_LENGTH in done.stderr)
                self.assertEqual(expected, self.pipe(["encode", "-", "-"], self.get("open.wav")))
        self.put_wav("empty.wav", b"")
        self.fails("encode", "empty.wav", "b.kelp", names=["empty.wav: the recording is empty"])

    @unittest.skipUnless(SOX, "sox is not installed")
    def test_blocks_without_length(self):
        """Encodings in blocks need the length: a file has one, a pipe has not."""
        self.put_wav("in.wav", noise(3, level=1000))
        for encoding in ["ms-adpcm", "gsm-full-rate"]:
            self.sox("in.wav", "-e", encoding, "a.wav")
            expected = self.encoded("a.wav")
            self.put("open.wav", without_length(self.get("a.wav"), UNKNOWN[1]))
            self.kelp("encode", "-f", "open.wav", "a.kelp")
            self.assertEqual(expected, self.get("a.kelp"))
            done = self.kelp("encode", "-", "-", input=self.get("open.wav"), text=False)
            self.assertEqual(1, done.returncode)
            self.assertIn(b"save it to a file", done.stderr)

    def test_no_recordings(self):
        self.put("text.wav", b"not a recording")
        self.put("empty.wav", b"")
        for name, *words in [("text.wav", "no audio format", "--raw"), (".", "is a directory"),
                             ("empty.wav", "no audio format"), ("missing.wav", "No such file")]:
            self.fails("encode", name, "out.kelp", names=[f"{name}:", *words])
        done = self.kelp("encode", "-", "-", input="not a recording")
        self.assertIn("standard input: is in no audio format", done.stderr)

    def test_memory(self):
        """Half an hour takes no more memory than a minute."""
        used = []
        for minutes in [1, 30]:
            content = bytes(960000 * minutes)
            process = subprocess.Popen([KELP, "encode", "-q", "--raw", "-", "-"],
                                       stdin=subprocess.PIPE, stdout=subprocess.DEVNULL)
            process.stdin.write(content)
            process.stdin.close()
            _, status, usage = os.wait4(process.pid, 0)
            process.returncode = status
            self.assertEqual(0, status)
            used.append(usage.ru_maxrss)
        self.assertLess(used[1] - used[0], 4096)

    def test_terminal(self):
        self.put_wav("in.wav", noise(1))
        terminal, inside = os.openpty()
        done = subprocess.run([KELP, "encode", "in.wav", "-"], cwd=self.folder, stdout=inside,
                              stderr=subprocess.PIPE, text=True)
        os.close(inside)
        os.close(terminal)
        self.assertEqual(1, done.returncode)
        self.assertIn("is a terminal", done.stderr)


@unittest.skipUnless(SPEECH, "asterisk-core-sounds-en-wav is not installed")
class Levels(ToolTest):
    def active_dbov(self, name):
        return json.loads(self.succeeds("compare", "--json", name, name))["other"]["active_level_dbov"]

    def encode(self, *options):
        done = self.kelp("encode", "-f", *options, SPEECH[0], "a.kelp")
        self.assertEqual(0, done.returncode, done.stderr)
        self.succeeds("decode", "-f", "a.kelp", "d.wav")
        return done.stderr

    def test_notes_and_gain(self):
        level = self.active_dbov(SPEECH[0])
        self.assertEqual("", self.encode("--gain", "0"))
        for gain, note in [(-40 - level, "faint: active speech is at -40.0 dBov"),
                           (-6 - level, "overloaded: ")]:
            self.assertIn(note, self.encode("--gain", f"{gain}"))
        remedy = re.search(r"--gain auto \(here (\S+) dB\)", self.encode("--gain", "-30"))
        self.assertAlmostEqual(-22 - (level - 30), float(remedy[1]), delta=0.1)
        self.assertIn(f"a gain of {-22 - level:+.1f} dB", self.encode("--gain", "auto"))
        self.assertAlmostEqual(-22, self.active_dbov("d.wav"), delta=1)

    def test_gain_that_cannot_be(self):
        done = self.kelp("encode", "--gain", "auto", "-", "a.kelp", input="")
        self.assertEqual(1, done.returncode)
        self.assertIn("save it to a file", done.stderr)
        for gain in ["loud", "200", "nan", ""]:
            self.fails("encode", "--gain", gain, SPEECH[0], "a.kelp", names=["--gain"], status=2)

    @unittest.skipUnless(SOX, "sox is not installed")
    def test_band_limit(self):
        """Speech below 2.6 kHz makes unusable packets: they are counted, and noise above helps."""
        subprocess.run(["sox", SPEECH[0], self.path("low.wav"), "sinc", "-2600"], check=True)
        unusable = []
        for options in [[], ["--fill-band"]]:
            done = self.kelp("encode", "-f", *options, "low.wav", "a.kelp")
            unusable.append(json.loads(self.succeeds("info", "--json", "a.kelp"))["unusable"])
            self.assertEqual(not options, "encode it with --fill-band" in done.stderr)
            if unusable[-1]:
                self.assertIn(f" {unusable[-1]} packets unusable", done.stdout)
        self.assertGreater(unusable[0], 10)
        self.assertLess(unusable[1], unusable[0] / 10)


if __name__ == "__main__":
    unittest.main(verbosity=2)
