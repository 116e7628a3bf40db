# Copyright 2026 The libkelp authors
# SPDX-License-Identifier: Apache-2.0
"""kelp info: what it tells of streams, and what its pictures show."""

import array
import base64
import json
import math
import os
import random
import re
import struct
import unittest
import xml.etree.ElementTree as xml
import zlib

from test_kelp import SIZES, SPEECH, ToolTest, packet

SVG = "{http://www.w3.org/2000/svg}"
LEFT, WIDTH = 52, 1128  # of the panels


def buzz(hertz, seconds, level=6000):
    """Pulses through a resonance at 600 Hz, swelling like syllables: steady sound is coded as noise."""
    samples, a, b = array.array("h"), 0.0, 0.0
    for n in range(int(8000 * seconds)):
        pulse = int((n + 1) * hertz / 8000) != int(n * hertz / 8000)
        a, b = 1.7 * a - 0.9 * b + (pulse * level * math.sin(n / 800) ** 2), a
        samples.append(max(-32768, min(32767, int(a))))
    return samples


def decode_png(data):
    """Rows of an 8-bit grey PNG file."""
    width, height, depth, colour = struct.unpack(">IIBB", data[16:26])
    assert (depth, colour) == (8, 0)
    at, packed = 8, b""
    while at < len(data):
        length, kind = struct.unpack(">I4s", data[at:at + 8])
        if kind == b"IDAT":
            packed += data[at + 8:at + 8 + length]
        at += 12 + length
    plain, rows, above = zlib.decompress(packed), [], bytes(width)
    for r in range(height):
        kind, *row = plain[r * (width + 1):(r + 1) * (width + 1)]
        for x in range(width):
            a, b, c = row[x - 1] if x else 0, above[x], above[x - 1] if x else 0
            nearest = min((abs(b - c), 0, a), (abs(a - c), 1, b), (abs(a + b - 2 * c), 2, c))[2]
            row[x] = (row[x] + [0, a, b, (a + b) // 2, nearest][kind]) & 255
        rows.append(row)
        above = row
    return rows


class Figures(ToolTest):
    def info(self, name, *options, status=0):
        done = self.kelp("info", "--json", *options, name, errors="surrogateescape")
        self.assertEqual(status, done.returncode, done.stderr)
        return json.loads(done.stdout)

    def test_pitch(self):
        for hertz in [70, 110, 180, 290]:
            self.put_wav("in.wav", buzz(hertz, 2))
            self.succeeds("encode", "-f", "in.wav", "a.kelp")
            info = self.info("a.kelp")
            self.assertGreater(info["voiced_share"], 0.5)
            self.assertAlmostEqual(1, info["pitch_hz"]["median"] / hertz, delta=0.01)
        noise = random.Random(1)
        self.put_wav("in.wav", array.array("h", [int(noise.gauss(0, 3000)) for _ in range(16000)]))
        self.succeeds("encode", "-f", "in.wav", "a.kelp")
        self.assertLess(self.info("a.kelp")["voiced_share"], 0.2)

    def test_frames(self):
        """Every packet is told with its offset; those that decoders refuse are unusable."""
        cases = [(packet(1, 0), True), (packet(1, 0xFF), False),  # the last four bits must be 0
                 (packet(14), True), (packet(4, 0xFF), False), (packet(2, 0xFF), False)]
        name = 'odd "name" <&>\n\udcff.kelp'
        self.put(name, b"".join(p for p, _ in cases) + b"\4")
        info = self.info(name, "--frames", status=1)
        offset = 0
        for (content, usable), frame in zip(cases, info["frames"], strict=True):
            self.assertEqual((offset, usable), (frame["offset"], frame["usable"]))
            offset += SIZES[content[0]]
        self.assertEqual(offset, info["broken"]["offset"])
        self.assertEqual((5, 3, 2), (info["packets"], info["unusable"],
                                     info["rates"]["eighth"]["packets"]))
        table = self.kelp("info", "--frames", name, errors="ignore").stdout.splitlines()
        self.assertEqual(6, len(table))
        self.assertIn("unusable", table[2])
        self.assertIn("broken at byte 52", " ".join(self.kelp("info", name, errors="ignore").stdout.split()))


class Pictures(ToolTest):
    def plot(self, stream, name="out.svg"):
        self.succeeds("info", "-q", "-f", "--plot", name, stream)
        text = self.get(name).decode()
        self.assertNotRegex(text.replace("http://www.w3.org/2000/svg", ""), "https?:|@import")
        for reference in re.findall(r"(?:href|src)='([^']*)'|url\(([^)]*)\)", text):
            self.assertRegex("".join(reference), "^(#|data:image/png;)")
        return text

    def test_what_is_drawn(self):
        """A second of silence, then one of tone at 1 kHz with a buzz: each in its place."""
        tone = [int(9000 * math.sin(math.pi * n / 4)) for n in range(8000)]
        self.put_wav("in.wav", array.array("h", [0] * 8000 + tone) + buzz(125, 1))
        self.succeeds("encode", "in.wav", "<&>.kelp")
        root = xml.fromstring(self.plot("<&>.kelp"))
        frames = json.loads(self.succeeds("info", "--json", "--frames", "<&>.kelp"))["frames"]
        self.assertEqual("<&>.kelp", root.find(SVG + "title").text)

        # The spectrogram: rows from 4000 Hz down.
        data = root.find(SVG + "image").get("href").split(",")[1]
        rows = decode_png(base64.b64decode(data))
        at = [len(rows[0]) * second // (len(frames) * 20) for second in [500, 1500]]
        self.assertEqual(0, max(row[at[0]] for row in rows))
        loudest = max(range(len(rows)), key=lambda r: rows[r][at[1]])
        self.assertAlmostEqual(1000, 4000 * (1 - loudest / (len(rows) - 1)), delta=70)

        # The rates: as much of the width as their frames are of the time.
        for path in root.iter(SVG + "path"):
            kind = path.get("class").split()
            if kind[0] != "r":
                continue
            spans = re.findall(r"M([\d.]+) [\d.]+H([\d.]+)V", path.get("d"))
            share = sum(float(end) - float(start) for start, end in spans) / WIDTH
            count = sum(frame["rate"] == kind[1] for frame in frames)
            self.assertAlmostEqual(count / len(frames), share, delta=0.003)

        # The pitch: one place for every voiced frame.
        drawn = []
        for path in root.iter(SVG + "path"):
            if path.get("class").startswith("f"):
                drawn += re.findall(r"[ML]([\d.]+) ([\d.]+)", path.get("d"))
        voiced = [k for k, frame in enumerate(frames) if frame["pitch_hz"]]
        drawn.sort(key=lambda place: float(place[0]))
        for k, (x, _) in zip(voiced, drawn, strict=True):
            self.assertAlmostEqual(LEFT + WIDTH * (k + 0.5) / len(frames), float(x), delta=0.1)

    @unittest.skipUnless(SPEECH, "asterisk-core-sounds-en-wav is not installed")
    def test_sizes(self):
        """A minute of speech stays below 2 MB; the page holds the picture; little is enough."""
        self.succeeds("encode", SPEECH[0], "a.kelp")
        speech = self.get("a.kelp")
        packets = json.loads(self.succeeds("info", "--json", "a.kelp"))["packets"]
        self.put("minute.kelp", speech * (3000 // packets + 1))
        self.assertLess(len(self.plot("minute.kelp")), 2e6)
        page = self.plot("minute.kelp", "out.html")
        self.assertLess(len(page), 2e6)
        self.assertIn(self.get("out.svg").decode(), page)
        for seconds in [0.02, 5.0]:
            self.put("short.kelp", packet(14) * int(seconds * 50))
            texts = list(xml.fromstring(self.plot("short.kelp")).iter(SVG + "text"))
            lowest = max(float(text.get("y")) for text in texts if text.text.strip("0123456789.") == "")
            times = [text.text for text in texts if float(text.get("y")) == lowest]
            self.assertEqual(len(set(times)), len(times), "times of their own along the axis")

    def test_outputs(self):
        self.put("a.kelp", packet(1, 0))
        self.fails("info", "a.kelp", "--plot", "out.png", names=[".svg", ".html"], status=2)
        self.plot("a.kelp")
        self.fails("info", "a.kelp", "--plot", "out.svg", names=["out.svg: exists", "--force"])
        self.put("cut.kelp", packet(1, 0) + b"\4")
        self.assertEqual(1, self.kelp("info", "cut.kelp", "--plot", "cut.svg").returncode)
        xml.fromstring(self.get("cut.svg"))  # what there is before the fault
        self.assertEqual({"a.kelp", "cut.kelp", "out.svg", "cut.svg"}, set(os.listdir(self.folder)))


if __name__ == "__main__":
    unittest.main(verbosity=2)
