# Copyright 2026 The libkelp authors
# SPDX-License-Identifier: Apache-2.0
"""Runs the kelp program as a user does and checks files, messages and exit status."""

import array
import glob
import os
import resource
import signal
import stat
import struct
import subprocess
import tempfile
import time
import unittest
import wave

KELP = os.environ["KELP_TOOL"]
SIZES = {1: 4, 2: 8, 3: 17, 4: 35, 14: 1}
SPEECH = sorted(glob.glob("/usr/share/asterisk/sounds/en*/demo-congrats.wav"))


def packet(rate, filler=0x5A):
    return bytes([rate]) + bytes([filler]) * (SIZES[rate] - 1)


def rates_of(stream):
    rates = []
    at = 0
    while at < len(stream):
        rates.append(stream[at])
        at += SIZES[stream[at]]
    assert at == len(stream)
    return rates


class ToolTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name

    def path(self, name):
        return os.path.join(self.folder, name)

    def put(self, name, content):
        with open(self.path(name), "wb") as file:
            file.write(content)

    def get(self, name):
        with open(self.path(name), "rb") as file:
            return file.read()

    def put_wav(self, name, samples, rate=8000, channels=1, width=2):
        with wave.open(self.path(name), "wb") as file:
            file.setframerate(rate)
            file.setnchannels(channels)
            file.setsampwidth(width)
            file.writeframes(samples if isinstance(samples, bytes) else samples.tobytes())

    def get_wav(self, name):
        with wave.open(self.path(name), "rb") as file:
            self.assertEqual((8000, 1, 2), file.getparams()[2:3] + file.getparams()[0:2])
            return array.array("h", file.readframes(file.getnframes()))

    def kelp(self, *arguments, **options):
        options = {"text": True, **options}
        return subprocess.run([KELP, *arguments], cwd=self.folder, capture_output=True,
                              timeout=300, **options)

    def pipe(self, command, content=b""):
        """The bytes that a command with `content` on its standard input puts out."""
        done = self.kelp(*command, input=content, text=False)
        self.assertEqual(0, done.returncode, done.stderr)
        return done.stdout

    def succeeds(self, *arguments):
        done = self.kelp(*arguments)
        self.assertEqual((0, ""), (done.returncode, done.stderr))
        return done.stdout

    def fails(self, *arguments, names, status=1, **options):
        """The command fails, its message holds all of `names`, the folder stays as it was."""
        before = {name: self.get(name) for name in os.listdir(self.folder)
                  if stat.S_ISREG(os.stat(self.path(name)).st_mode)}
        done = self.kelp(*arguments, **options)
        self.assertEqual(status, done.returncode, done)
        for name in names:
            self.assertIn(name, done.stderr)
        for name in os.listdir(self.folder):
            if os.path.isfile(self.path(name)):
                self.assertEqual(before.get(name), self.get(name), name)
        return done


class RoundTrip(ToolTest):
    def test_lengths(self):
        """Enough silence follows the input to code its last sample, and no frame more."""
        for samples, frames in [(1, 1), (99, 1), (100, 1), (101, 2), (159, 2), (160, 2), (161, 2),
                                (260, 2), (261, 3), (800, 6), (820, 6), (900, 6), (901, 7)]:
            with self.subTest(samples=samples):
                wav = array.array("h", [(7919 * n) % 4001 - 2000 for n in range(samples)])
                self.put_wav("in.wav", wav)
                self.succeeds("encode", "-f", "in.wav", "a.kelp")
                self.assertEqual(frames, len(rates_of(self.get("a.kelp"))))
                self.succeeds("decode", "-f", "a.kelp", "out.wav")
                self.succeeds("decode", "-f", "--trim", "a.kelp", "trimmed.wav")
                decoded = self.get_wav("out.wav")
                self.assertEqual(160 * frames, len(decoded))
                self.assertEqual(decoded[60:], self.get_wav("trimmed.wav"))

    @unittest.skipUnless(SPEECH, "asterisk-core-sounds-en-wav is not installed")
    def test_speech(self):
        """Recorded speech comes back; with --trim in step with the input."""
        self.succeeds("encode", SPEECH[0], "a.kelp")
        self.succeeds("decode", "--trim", "a.kelp", "out.wav")
        with wave.open(SPEECH[0], "rb") as file:
            speech = array.array("h", file.readframes(file.getnframes()))
        decoded = self.get_wav("out.wav")
        self.assertGreaterEqual(len(decoded), len(speech))
        self.assertLess(len(decoded), len(speech) + 160)
        rates = rates_of(self.get("a.kelp"))
        self.assertEqual(4, rates[0])
        self.assertEqual({1, 3, 4}, set(rates))

        def match(lag):
            return sum(a * b for a, b in zip(speech[100:80100], decoded[100 + lag:80100 + lag]))

        def energy(x):
            return sum(a * a for a in x[100:80100])

        self.assertEqual(0, max(range(-3, 4), key=match))
        self.assertGreater(match(0) / (energy(speech) * energy(decoded)) ** 0.5, 0.8)


class Info(ToolTest):
    def test_counts_and_rates(self):
        self.put("a.kelp", packet(4) * 5 + packet(3) * 2 + packet(2) + packet(1) * 11 + packet(14))
        lines = [" ".join(line.split()) for line in self.succeeds("info", "a.kelp").splitlines()]
        for expected in ["packets 20", "duration 0.400 s", "bytes 262",
                         # 5 x 266 + 2 x 124 + 54 + 11 x 20 bits in 0.4 s; 262 bytes in 0.4 s
                         "bit rate 4.63 kbit/s net, 5.24 kbit/s in packets",
                         "full 5 25.0 %", "half 2 10.0 %", "quarter 1 5.0 %", "eighth 11 55.0 %",
                         "erasure 1 5.0 %"]:
            self.assertIn(expected, lines)

    def test_shows_what_precedes_a_fault(self):
        self.put("a.kelp", packet(4) * 3 + packet(3)[:9])
        done = self.fails("info", "a.kelp", names=["a.kelp: byte 105:", "9 of its 17 bytes"])
        self.assertIn("packets               3", done.stdout)


class BrokenStreams(ToolTest):
    def test_every_cut_is_reported_with_its_offset(self):
        whole = packet(4) + packet(1) + packet(14) + packet(3) + packet(2)
        starts = [0, 35, 39, 40, 57]
        for length in range(1, len(whole)):
            if length in starts:
                continue
            start = max(s for s in starts if s < length)
            self.put("cut.kelp", whole[:length])
            self.fails("decode", "cut.kelp", "out.wav",
                       names=[f"cut.kelp: byte {start}:", f"{length - start} of its"])
            self.assertEqual(["cut.kelp"], os.listdir(self.folder))

    def test_unknown_rate_bytes(self):
        for byte in [0, 5, 13, 15, 132, 255]:
            self.put("bad.kelp", packet(3) + packet(1) + bytes([byte]) + packet(4))
            for command in [["decode", "bad.kelp", "out.wav"], ["info", "bad.kelp"]]:
                self.fails(*command, names=["bad.kelp: byte 21:", f"the byte {byte} "])

    def test_not_a_stream(self):
        self.put_wav("speech.wav", array.array("h", [0] * 160))
        self.put("empty.kelp", b"")
        self.fails("decode", "speech.wav", "out.wav", names=["speech.wav: byte 0:", "encode"])
        self.fails("decode", "empty.kelp", "out.wav", names=["empty.kelp: byte 0:", "empty"])
        self.fails("info", "empty.kelp", names=["empty.kelp: byte 0:", "empty"])
        self.fails("info", "missing.kelp", names=["missing.kelp:", "No such file"])
        self.fails("info", ".", names=["Is a directory"])


class Outputs(ToolTest):
    def test_existing_output(self):
        self.put("a.kelp", packet(4))
        self.put("out.wav", b"precious")
        self.fails("decode", "a.kelp", "out.wav", names=["out.wav: exists already", "--force"])
        self.succeeds("decode", "--force", "a.kelp", "out.wav")
        self.assertEqual(160, len(self.get_wav("out.wav")))
        # A failure leaves the old file alone even with --force.
        self.put("bad.kelp", packet(4) + b"\0")
        self.fails("decode", "-f", "bad.kelp", "out.wav", names=["bad.kelp: byte 35:"])

    def test_input_is_output(self):
        self.put("a.kelp", packet(4))
        os.link(self.path("a.kelp"), self.path("hard.kelp"))
        os.symlink("a.kelp", self.path("soft.kelp"))
        for name in ["a.kelp", "./a.kelp", "hard.kelp", "soft.kelp"]:
            self.fails("decode", "-f", "a.kelp", name, names=[name, "the input itself"])

    def test_full_disk(self):
        """Writing that fails halfway, here at a file-size limit, leaves nothing behind."""
        self.put("a.kelp", packet(4) * 2000)
        self.put_wav("in.wav", array.array("h", [(n * n) % 20011 for n in range(160 * 2000)]))

        def limit():
            resource.setrlimit(resource.RLIMIT_FSIZE, (10000, 10000))

        for command in [["decode", "a.kelp", "out.wav"], ["encode", "in.wav", "out.kelp"]]:
            self.fails(*command, names=[command[2], "File too large"], preexec_fn=limit)
            self.assertEqual({"a.kelp", "in.wav"}, set(os.listdir(self.folder)))

    def decode_a_pipe(self, at_work):
        """Decodes a pipe, calls at_work(process) while the output is half written: exit status."""
        process = subprocess.Popen([KELP, "decode", "pipe", "out.wav"], cwd=self.folder,
                                   stderr=subprocess.DEVNULL)
        with open(self.path("pipe"), "wb") as pipe:
            pipe.write(packet(4))
            pipe.flush()
            for _ in range(1000):
                if len(os.listdir(self.folder)) == 2:
                    break
                time.sleep(0.01)
            self.assertEqual(2, len(os.listdir(self.folder)))
            at_work(process)
        return process.wait(timeout=60)

    def test_interruption(self):
        os.mkfifo(self.path("pipe"))
        for number in [signal.SIGINT, signal.SIGTERM, signal.SIGHUP]:
            def interrupt(process):
                process.send_signal(number)
                process.wait(timeout=60)

            self.assertEqual(-number, self.decode_a_pipe(interrupt))
            self.assertEqual(["pipe"], os.listdir(self.folder))


class Usage(ToolTest):
    def test_wrong_usage(self):
        self.put("a.kelp", packet(4))
        for command in [[], ["encode"], ["encode", "a.wav"], ["decode", "a", "b", "c"],
                        ["transcode", "a", "b"], ["info", "--trim", "a.kelp"],
                        ["encode", "--trim", "a", "b"]]:
            self.fails(*command, names=["--help"], status=2)

    def test_help_and_version(self):
        self.assertRegex(self.succeeds("--version"), r"^kelp \d+\.\d+\.\d+\n$")
        for command in [[], ["encode"], ["decode"], ["compare"]]:
            help_text = self.succeeds(*command, "--help")
            self.assertIn("Examples:\n  kelp " + " ".join(command), help_text)
            self.assertLessEqual(max(map(len, help_text.splitlines())), 110)

    def test_quiet(self):
        self.put_wav("in.wav", array.array("h", [0] * 160))
        self.assertEqual("", self.succeeds("-q", "encode", "in.wav", "a.kelp"))
        self.assertEqual("", self.succeeds("decode", "a.kelp", "out.wav", "--quiet"))
        self.assertNotEqual("", self.succeeds("decode", "-f", "a.kelp", "out.wav"))


if __name__ == "__main__":
    unittest.main(verbosity=2)
