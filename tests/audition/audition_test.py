#!/usr/bin/env python3
# SPDX-License-Identifier: GPL-3.0-or-later
"""Reads sources of factory sounds as tools/audition does: audition_test.py PROGRAM SOURCE_ROOT"""

import subprocess
import sys
import unittest
from importlib.util import find_spec
from pathlib import Path

PROGRAM, ROOT = sys.argv[1], Path(sys.argv[2])
sys.path.insert(0, str(ROOT / "tools"))
sys.dont_write_bytecode = True

from audition import controls, source  # noqa: E402

TABLE = controls.read()
GOOD = """; a comment
name = Deep Rubber QE
info = Round; it barks when you dig in.   ; and this is not for the player
phrase = bass
octave = -1

osc_1_waveform = 4       ; pulse
filter_cutoff = 0.25
"""


def parse(text, name="Deep Rubber QE"):
    return source.parse(f"somewhere/{name}.sound", text, TABLE)


class Source(unittest.TestCase):
    def test_knows_the_controls_of_the_instrument(self):
        listed = subprocess.check_output([PROGRAM, "--list-controls"], text=True)
        rows = [line.split() for line in listed.splitlines() if line.strip()[:1].isdigit()]
        expected = {row[1]: None if row[3] == "-" else float(row[3]) for row in rows}
        self.assertEqual({control.name: control.default for control in TABLE.values()}, expected)

    def test_faults_are_named(self):
        self.assertEqual(parse(GOOD).settings, {"osc_1_waveform": 4.0, "filter_cutoff": 0.25})
        cases = [
            (GOOD + "filter_cutof = 0.5", "perhaps filter_cutoff"),
            (GOOD + "volume = 1.01", "not within 0 .. 1"),
            (GOOD + "filter_cutoff = 0.3", "there twice"),
            (GOOD + "volume = 0.5", "though the default: volume"),
            (GOOD.replace("Deep", "Deeper"), "not that of the file"),
            (GOOD.replace("Deep", "D\u00e9ep"), "holds a character"),
        ]
        for text, expected in cases:
            with self.subTest(expected):
                self.assertIn(expected, " / ".join(parse(text).faults))
        sounds = [parse(GOOD), parse(GOOD.replace("Rubber", "RUBBER"), "Deep RUBBER QE")]
        source.check_library(sounds, ["QX", "QE"])
        self.assertIn("author code", " / ".join(sounds[0].faults))
        self.assertIn("has the same name", " / ".join(sounds[1].faults))

    def test_of_the_library_are_without_faults(self):
        paths = sorted((ROOT / "resources" / "soundbanks").rglob("*.sound"))
        self.assertTrue(paths)
        sounds = [source.parse(str(path), path.read_text("utf-8"), TABLE) for path in paths]
        source.check_library(sounds, [source.author_code(sound.path) for sound in sounds])
        faults = [f"{sound.path}: {fault}" for sound in sounds for fault in sound.faults]
        self.assertEqual(faults, [])

    @unittest.skipUnless(find_spec("numpy") and find_spec("scipy"), "takes numpy and scipy")
    def test_pitch_is_found(self):
        import numpy as np
        from audition import analysis
        t = np.arange(3 * 48000) / 48000
        for cents in (0, 7, -31):
            hz = 220 * 2 ** (cents / 1200)
            saw = sum(np.sin(2 * np.pi * hz * n * t) / n for n in range(1, 30))
            self.assertAlmostEqual(analysis.pitch_cents(saw, 48000, 57), cents, delta=0.5)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
