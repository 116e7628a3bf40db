# Copyright 2026 The libkelp authors
# SPDX-License-Identifier: Apache-2.0
"""kelp compare: what it finds between recordings that are known."""

import array
import json
import random
import unittest

from test_kelp import SPEECH, ToolTest


class Compare(ToolTest):
    def compare(self, *arguments):
        return json.loads(self.succeeds("compare", "--json", *arguments))

    def test_known_differences(self):
        generator = random.Random(5)
        samples, value = [], 0.0
        for n in range(60000):
            value = 0.9 * value + generator.gauss(0, 600 if n // 2000 % 3 else 20)
            samples.append(int(value))
        self.put_wav("a.wav", array.array("h", samples))
        for delay in [-7900, -3, 0, 1, 60, 7999]:
            shifted = [0] * delay + samples if delay > 0 else samples[-delay:]
            self.put_wav("b.wav", array.array("h", shifted))
            found = self.compare("a.wav", "b.wav")
            self.assertEqual((delay, 35, 0), (found["delay_samples"], found["segmental_snr_db"],
                                              found["spectral_distance_db"]))
        # Half as loud: an error as large as the half, and up to 6.02 dB in every bin.
        self.put_wav("b.wav", array.array("h", [round(sample / 2) for sample in samples]))
        found = self.compare("a.wav", "b.wav")
        self.assertAlmostEqual(6.02, found["segmental_snr_db"], delta=0.05)
        self.assertAlmostEqual(6.02, found["spectral_distance_db"], delta=0.7)
        self.assertAlmostEqual(-6.02, found["other"]["active_level_dbov"] -
                               found["reference"]["active_level_dbov"], delta=0.05)

    @unittest.skipUnless(SPEECH, "asterisk-core-sounds-en-wav is not installed")
    def test_codec(self):
        self.succeeds("encode", SPEECH[0], "a.kelp")
        self.succeeds("decode", "a.kelp", "a.wav")
        self.succeeds("decode", "--trim", "a.kelp", "trimmed.wav")
        found = self.compare("--high-pass", SPEECH[0], "a.wav")
        self.assertEqual(60, found["delay_samples"])
        self.assertEqual(0, self.compare("--high-pass", SPEECH[0], "trimmed.wav")["delay_samples"])
        self.assertGreater(found["segmental_snr_db"], 8)
        self.assertLess(found["spectral_distance_db"], 8)
        self.assertIn("60 samples, 7.500 ms",
                      self.succeeds("compare", "--high-pass", SPEECH[0], "a.wav"))

    def test_nothing_to_compare(self):
        self.put_wav("silent.wav", array.array("h", [0] * 8000))
        self.put_wav("a.wav", array.array("h", [500, -500] * 4000))
        self.fails("compare", "a.wav", "silent.wav", names=["silent.wav: is silent"])
        self.fails("compare", "-", "-", names=["only one"], status=2)


if __name__ == "__main__":
    unittest.main(verbosity=2)
