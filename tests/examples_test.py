#!/usr/bin/env python3
# Copyright 2026 The libkelp authors
# SPDX-License-Identifier: Apache-2.0
"""The programs of examples/ on recorded speech:  examples_test.py FOLDER SOURCES LIBRARY [EMULATOR..]

LIBRARY is empty where Python cannot load it."""

import array
import glob
import os
import re
import subprocess
import sys
import tempfile
import unittest
import wave

FOLDER, SOURCES, LIBRARY, *EMULATOR = sys.argv[1:]
SIZES = {1: 4, 3: 17, 4: 35}
FRAME = 160


def read_wav(path):
    with wave.open(path) as file:
        return array.array("h", file.readframes(file.getnframes()))


def packets_of(stream):
    packets = []
    while stream:
        packets.append(stream[:SIZES[stream[0]]])
        stream = stream[len(packets[-1]):]
    return packets


def snr_power(original, decoded):
    """Power of the original over that of the difference."""
    noise = sum((a - b) ** 2 for a, b in zip(original, decoded))
    return sum(a * a for a in original) / noise


class Examples(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(cls.folder.cleanup)
        os.chdir(cls.folder.name)
        speech = sorted(glob.glob("/usr/share/asterisk/sounds/en*/vm-msginstruct.wav"))
        if not speech and "KELP_ALLOW_MISSING_RECORDINGS" in os.environ:
            raise unittest.SkipTest("no recordings")
        if not speech:
            raise OSError("no recordings: install asterisk-core-sounds-en-wav")
        cls.speech = speech[0]
        cls.samples = read_wav(cls.speech)
        cls.said = cls.run_example("encode", cls.speech, "speech.kelp")
        with open("speech.kelp", "rb") as file:
            cls.stream = file.read()
        cls.packets = packets_of(cls.stream)
        cls.run_example("decode", "speech.kelp", "clean.wav")
        cls.clean = read_wav("clean.wav")

    @classmethod
    def start(cls, name, *arguments, stdin=b""):
        return subprocess.run([*EMULATOR, os.path.join(FOLDER, name), *arguments], input=stdin,
                              capture_output=True, timeout=300)

    @classmethod
    def run_example(cls, name, *arguments, stdin=b""):
        done = cls.start(name, *arguments, stdin=stdin)
        if done.returncode:
            raise AssertionError(f"{name}: {done}")
        return done.stdout

    def test_encode(self):
        frames = -(-(len(self.samples) + 60) // FRAME)  # the look-ahead included
        self.assertEqual(frames, len(self.packets))
        rates = [sum(packet[0] == rate for packet in self.packets) for rate in (4, 3, 1)]
        self.assertEqual(b"%d samples, %d packets: %d full, %d half, %d eighth rate\n"
                         % (len(self.samples), frames, *rates), self.said)
        self.assertEqual(1, self.start("encode", "speech.kelp", "other.kelp").returncode)

    def test_decode(self):
        self.assertEqual(FRAME * len(self.packets) - 60, len(self.clean))
        whole = snr_power(self.samples, self.clean)
        self.assertGreater(whole, 2)
        said = self.run_example("decode", "speech.kelp", "lossy.wav", "10", "7")
        lost = int(re.search(rb", (\d+) of them lost", said).group(1)) / len(self.packets)
        self.assertTrue(0.06 < lost < 0.14, said)
        self.assertTrue(0.3 * whole < snr_power(self.samples, read_wav("lossy.wav")) < 0.9 * whole)
        with open("broken.kelp", "wb") as file:
            file.write(self.packets[0] + b"\x63")
        broken = self.start("decode", "broken.kelp", "broken.wav")
        self.assertEqual((1, True), (broken.returncode, b"offset 35" in broken.stderr))

    def test_jitter_buffer(self):
        def play(lost, jitter, stream=self.stream):
            done = self.start("jitter_buffer", lost, jitter, stdin=stream)
            self.assertEqual(0, done.returncode, done)
            played, concealed, lost, late, silent = map(int, re.findall(rb"\d+", done.stderr))
            heard = array.array("h", done.stdout)
            self.assertFalse(any(heard[:FRAME * silent]))
            self.assertEqual(len(heard), FRAME * (silent + played))
            self.assertEqual(len(self.packets), played)
            return heard[FRAME * silent + 60:], concealed, lost, late

        for jitter in "0", "60":  # what the buffer takes up is not heard
            self.assertEqual((self.clean, 0, 0, 0), play("0", jitter))
        heard, concealed, lost, late = play("5", "300")
        self.assertEqual(concealed, lost + late)
        self.assertTrue(lost > 0.02 * len(self.packets) and late > 0.1 * len(self.packets))
        self.assertNotEqual(self.clean, heard)
        loud = max(range(len(self.packets)), key=lambda k: sum(
            abs(x) for x in self.clean[FRAME * k:FRAME * (k + 1)]))
        blank = self.packets[:loud] + [b"\0"] + self.packets[loud + 1:]
        heard, concealed, _, _ = play("0", "0", b"".join(blank))
        self.assertEqual(1, concealed)
        self.assertTrue(any(heard[FRAME * loud:FRAME * (loud + 1)]), "concealed, not muted")

    def test_many_streams(self):
        said = self.run_example("many_streams", "40", "4", "1", stdin=self.samples.tobytes())
        self.assertTrue(said.startswith(b"40 calls of 1 s on 4 threads"), said)
        self.assertEqual(1, self.start("many_streams", "1", "1", "1").returncode)

    def test_round_trip(self):
        pattern = rb"delay (\d+) samples, level ([\d.]+), (\d+) bit/s"
        samples = self.samples.tobytes()
        delay, level, rate = map(float, re.match(
            pattern, self.run_example("round_trip", stdin=samples)).groups())
        self.assertTrue(58 <= delay <= 61 and 0.9 < level < 1.1, (delay, level))
        self.assertAlmostEqual(400 * len(self.stream) / len(self.packets), rate, delta=60)
        faded = float(re.match(pattern, self.run_example("round_trip", "2", stdin=samples))[2])
        self.assertLess(faded, 0.95 * level)
        self.assertEqual(1, self.start("round_trip", stdin=bytes(3200)).returncode)

    @unittest.skipUnless(LIBRARY, "Python cannot load this library")
    def test_from_python(self):
        program = os.path.join(SOURCES, "from_python.py")
        subprocess.run([sys.executable, program, self.speech, "python.wav", LIBRARY], check=True,
                       capture_output=True)
        self.assertEqual(self.clean[:len(self.samples)], read_wav("python.wav"))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
