# Copyright 2026 The libkelp authors
# SPDX-License-Identifier: Apache-2.0
"""kelp decode: outputs of every kind, excerpts, lost packets and damaged streams."""

import array
import io
import random
import re
import struct
import unittest
import wave

from test_kelp import SIZES, ToolTest, packet

ERASURE = packet(14)


def packets_of(stream):
    packets = []
    while stream:
        packets.append(stream[:SIZES[stream[0]]])
        stream = stream[SIZES[stream[0]]:]
    return packets


class Decoding(ToolTest):
    def setUp(self):
        super().setUp()
        generator = random.Random(3)
        samples = [int(generator.gauss(0, 2000 + 1000 * (n // 4000 % 3))) for n in range(40000)]
        self.put_wav("in.wav", array.array("h", samples))
        self.succeeds("encode", "in.wav", "a.kelp")
        self.stream = self.get("a.kelp")
        self.packets = packets_of(self.stream)

    def decoded(self, stream, *options):
        return self.pipe(["decode", "--raw", *options, "-", "-"], stream)


class Outputs(Decoding):
    def test_kinds(self):
        """WAV, FLAC, raw and standard output hold the same samples."""
        samples = self.decoded(self.stream)
        self.succeeds("decode", "a.kelp", "a.raw")
        self.succeeds("decode", "--raw", "a.kelp", "a.bin")
        self.succeeds("decode", "a.kelp", "a.FLAC")
        self.succeeds("decode", "a.kelp", "a.wav")
        piped = self.pipe(["decode", "a.kelp", "-"])
        self.assertEqual(samples, self.get("a.raw"))
        self.assertEqual(samples, self.get("a.bin"))
        self.assertEqual(samples, self.get_wav("a.wav").tobytes())
        self.assertEqual(b"fLaC", self.get("a.FLAC")[:4])
        self.assertEqual(self.pipe(["encode", "a.wav", "-"]), self.pipe(["encode", "a.FLAC", "-"]))
        # Nobody knows the length of a pipe.
        self.assertEqual(struct.pack("<II", 2**32 - 1, 2**32 - 1), piped[4:8] + piped[40:44])
        with wave.open(io.BytesIO(piped)) as file:
            self.assertEqual((1, 2, 8000), file.getparams()[:3])
        self.assertEqual(samples, piped[44:])

    def test_excerpts(self):
        whole = self.decoded(self.stream)
        for options, first, last in [(["--start", "1.5"], 12000, None),
                                     (["--duration", "0.0301"], 0, 241),
                                     (["--start", "0.0199", "--duration", "2"], 159, 16159),
                                     (["--trim", "--start", "1", "--duration", "1"], 8060, 16060),
                                     (["--start", "4.9", "--duration", "99"], 39200, None)]:
            self.assertEqual(whole[2 * first:last and 2 * last],
                             self.decoded(self.stream, *options), options)
        self.fails("decode", "--start", "6", "a.kelp", "b.wav", names=["a.kelp:", "start earlier"])
        self.fails("decode", "--start", "-1", "a.kelp", "b.wav", names=["--start"], status=2)
        # What comes behind an excerpt does not matter.
        self.decoded(self.stream[:-1], "--duration", "2")


class LostPackets(Decoding):
    def test_random_loss(self):
        self.assertEqual(self.decoded(self.stream), self.decoded(self.stream, "--lose", "0"))
        self.assertEqual(self.decoded(ERASURE * len(self.packets)),
                         self.decoded(self.stream, "--lose", "100%"))
        once = self.decoded(self.stream, "--lose", "20%", "--seed", "7")
        self.assertEqual(once, self.decoded(self.stream, "--lose", "20", "--seed", "7"))
        self.assertNotEqual(once, self.decoded(self.stream, "--lose", "20", "--seed", "8"))
        self.put("long.kelp", self.stream * 20)
        report = self.succeeds("decode", "--lose", "20%", "long.kelp", "b.wav")
        lost = int(re.search(r"concealed: (\d+) lost on purpose", report)[1])
        self.assertAlmostEqual(0.2, lost / (20 * len(self.packets)), delta=0.02)

    def test_pattern(self):
        self.put("pattern", b"00 1\n10\n")
        expected = b"".join(ERASURE if k % 5 in (2, 3) else one for k, one in enumerate(self.packets))
        self.assertEqual(self.decoded(expected),
                         self.decoded(self.stream, "--lose-pattern", "pattern"))
        self.put("wrong", b"010x")
        self.put("none", b"\n")
        for name, *words in [("wrong", "byte 3"), ("none", "empty"), ("missing", "No such file")]:
            self.fails("decode", "--lose-pattern", name, "a.kelp", "b.wav", names=[f"{name}: ", *words])
        for options in [["--lose", "101"], ["--lose", "x"], ["--seed", "2"],
                        ["--lose", "5", "--lose-pattern", "pattern"]]:
            self.fails("decode", *options, "a.kelp", "b.wav", names=[options[0]], status=2)


class DamagedStreams(Decoding):
    def survives(self, damaged, instead, offsets, counts):
        """Decodes as a stream with erasures in place of the damage, and tells what was done."""
        self.put("bad.kelp", damaged)
        self.fails("decode", "bad.kelp", "b.wav", names=[f"bad.kelp: byte {offsets[0]}:"])
        done = self.kelp("decode", "-f", "--keep-going", "bad.kelp", "out.wav")
        self.assertEqual(0, done.returncode, done.stderr)
        self.assertEqual(offsets, [int(n) for n in re.findall(r"bad.kelp: byte (\d+): ", done.stderr)])
        self.assertIn(f"{counts[0]} packets", done.stdout)
        self.assertIn(f"concealed: {counts[1]} damaged", done.stdout)
        self.assertEqual(self.decoded(instead), self.get_wav("out.wav").tobytes())

    def test_one_place(self):
        count = len(self.packets)
        place = next(k for k in range(50, count) if len(self.packets[k]) == 35)
        before, hit, after = (b"".join(self.packets[:place]), self.packets[place],
                              b"".join(self.packets[place + 1:]))
        at = len(before)
        for damage, frames, packets in [
                (b"\x09" + hit[1:], 1, count - 1),      # a rate byte that is none
                (b"\x00" + hit[1:], 1, count - 1),      # the same, with the blank's
                (b"\0", 1, count - 1),                  # a blank frame
                (b"\0" * 5, 5, count - 1),              # five of them
                (b"\0" * 350, 10, count - 1),           # a hole
                (b"\xFF" * 100 + hit, 3, count)]:       # bytes that do not belong there
            with self.subTest(damage=damage[:3], length=len(damage)):
                rest = hit if packets == count else b""
                self.survives(before + damage + after, before + ERASURE * frames + rest + after,
                              [at], (packets, frames))
        self.survives(before + hit[:20], before + ERASURE, [at], (place, 1))

    def test_many_places(self):
        """Ten places are named, the others counted."""
        bad = b"".join(one + (b"\x07" if k % 10 == 9 else b"") for k, one in enumerate(self.packets))
        self.put("bad.kelp", bad)
        done = self.kelp("decode", "--keep-going", "bad.kelp", "out.wav")
        self.assertEqual(10, len(re.findall(r"bad.kelp: byte", done.stderr)))
        places = len(self.packets) // 10
        self.assertIn(f"bad.kelp: damaged in {places - 10} further places", done.stderr)
        self.assertIn(f"concealed: {places} damaged", done.stdout)

    def test_unusable_packets(self):
        self.put("bad.kelp", packet(4, 0xFF) + packet(14) + packet(1, 0))
        self.assertIn("3 packets decoded, 0.060 s; concealed: 1 erased, 1 unusable",
                      self.succeeds("decode", "bad.kelp", "out.wav"))


if __name__ == "__main__":
    unittest.main(verbosity=2)
