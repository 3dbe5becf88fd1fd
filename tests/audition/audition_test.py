#!/usr/bin/env python3
# SPDX-License-Identifier: GPL-3.0-or-later
"""Reads sources of factory sounds as tools/audition does: audition_test.py PROGRAM SOURCE_ROOT"""

import subprocess
import sys
import tempfile
import unittest
from importlib.util import find_spec
from pathlib import Path

PROGRAM, ROOT = sys.argv[1], Path(sys.argv[2])
sys.path.insert(0, str(ROOT / "tools"))
sys.dont_write_bytecode = True

from audition import controls, phrases, source, traits  # noqa: E402

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


class Controls(unittest.TestCase):
    def test_are_those_of_the_instrument(self):
        listed = subprocess.check_output([PROGRAM, "--list-controls"], text=True)
        rows = [line.split() for line in listed.splitlines() if line.strip()[:1].isdigit()]
        expected = {row[1]: None if row[3] == "-" else float(row[3]) for row in rows}
        self.assertEqual({control.name: control.default for control in TABLE.values()}, expected)

    def test_know_their_range_and_choices(self):
        self.assertEqual(TABLE["polyphony"].text(2), "Mono")
        self.assertEqual(TABLE["fx_del_time"].texts[0], "1/2*")
        for control in TABLE.values():
            if control.texts and not control.continuous:
                self.assertEqual(len(control.texts), control.scale + 1, control.name)


class Source(unittest.TestCase):
    def test_gives_texts_and_settings(self):
        sound = parse(GOOD)
        self.assertEqual(sound.faults, [])
        self.assertEqual(sound.about["info"], "Round; it barks when you dig in.")
        self.assertEqual((sound.phrase, sound.octave), ("bass", -1))
        self.assertEqual(sound.settings, {"osc_1_waveform": 4.0, "filter_cutoff": 0.25})

    def test_faults_are_named(self):
        cases = [
            (GOOD + "filter_cutof = 0.5", "perhaps filter_cutoff"),
            (GOOD + "panel_view = 1", "no control panel_view"),
            (GOOD + "volume = 1.01", "not within 0 .. 1"),
            (GOOD + "volume = -0.1", "not within"),
            (GOOD + "volume = nan", "not within"),
            (GOOD + "volume = loud", "not within"),
            (GOOD + "polyphony = 1.5", "not a whole number"),
            (GOOD + "filter_cutoff = 0.3", "there twice"),
            (GOOD + "volume = 0.5", "though the default: volume"),
            (GOOD + "volume", "not of the form"),
            (GOOD.replace("= bass", "= harp"), "none of bass"),
            (GOOD.replace("= -1", "= 4"), "not a whole number within -3 .. 3"),
            (GOOD.replace("phrase = bass\n", ""), "phrase is missing"),
            (GOOD.replace("Deep", "Deeper"), "not that of the file"),
            (GOOD.replace("Round", "o" * 400), "400 is the most"),
            (GOOD.replace("Deep", "D\u00e9ep"), "holds a character"),
            (GOOD.replace("Deep Rubber", "Deep/Rubber"), "holds a character"),
            (GOOD.replace("Deep", "Deep" * 5), "27 is the most"),
        ]
        for text, expected in cases:
            with self.subTest(expected):
                self.assertIn(expected, " / ".join(parse(text).faults))

    def test_names_are_unique_and_end_in_the_code_of_their_bank(self):
        with tempfile.TemporaryDirectory() as folder:
            (Path(folder) / "config.ini").write_text("AuthorCode=QE\nAuthorName=Somebody\n")
            self.assertEqual(source.author_code(f"{folder}/Bass/Deep Rubber QE.sound"), "QE")
        sounds = [parse(GOOD), parse(GOOD.replace("Rubber", "RUBBER"), "Deep RUBBER QE")]
        source.check_library(sounds, ["QX", "QE"])
        self.assertIn("author code", " / ".join(sounds[0].faults))
        self.assertIn("has the same name", " / ".join(sounds[1].faults))

    def test_takes_a_new_volume(self):
        self.assertEqual(source.with_setting(GOOD, "filter_cutoff", 0.1234567),
                         GOOD.replace("0.25", "0.1235"))
        self.assertEqual(source.with_setting(GOOD, "osc_1_waveform", 3), GOOD.replace("= 4", "= 3"))
        self.assertEqual(source.with_setting(GOOD, "volume", 0.4), GOOD + "volume = 0.4\n")

    def test_of_the_library_are_without_faults(self):
        paths = sorted((ROOT / "resources" / "soundbanks").rglob("*.sound"))
        if not paths:
            self.skipTest("no sounds yet")
        sounds = [source.parse(str(path), path.read_text("utf-8"), TABLE) for path in paths]
        source.check_library(sounds, [source.author_code(sound.path) for sound in sounds])
        faults = [f"{sound.path}: {fault}" for sound in sounds for fault in sound.faults]
        self.assertEqual(faults, [])


class Phrases(unittest.TestCase):
    def test_are_about_eight_seconds_with_the_wheel_in_the_second_half(self):
        for kind, phrase in phrases.PHRASES.items():
            with self.subTest(kind):
                words, end = phrases.phrase_words(kind, 0)
                self.assertTrue(7 < end < 9, end)
                self.assertTrue(100 <= phrase.tempo <= 120)
                moved = [float(word.split(",")[2]) for word in words if word.startswith("1,")]
                self.assertGreater(min(moved), 0.45 * end)
                self.assertEqual(len(set(phrases.played(phrase.chord, 0))), 4)
                velocities = {note[3] for note in phrase.notes}
                self.assertGreater(max(velocities) - min(velocities), 20)

    def test_keys_have_their_numbers_in_every_octave(self):
        self.assertEqual([phrases.key_number(name) for name in ("C4", "A4", "F#2", "Bb3", "B3")],
                         [60, 69, 42, 58, 59])
        self.assertEqual(phrases.played("A1 C4", 1), [45, 72])
        self.assertEqual(phrases.played("C4 A4", 3)[1], 105)

    def test_wheel_begins_where_the_patch_has_it(self):
        for start, ends in ((0, (0, 127)), (0.5, (64, 127)), (0.75, (95, 0)), (1, (127, 0))):
            words, _ = phrases.phrase_words("pad", 0, start)
            positions = [int(word.split(",")[1]) for word in words if word.startswith("1,")]
            self.assertEqual((positions[0], positions[-1]), ends)


class Traits(unittest.TestCase):
    def test_of_the_default(self):
        found = traits.traits(parse("name = Deep Rubber QE"), TABLE)
        self.assertEqual(found, {"engine": ["Late"], "voices": ["Poly-8"], "wave": ["Saw"],
                                 "filter": ["Low Pass 24 dB"], "LFO": ["none"], "routing": [],
                                 "colour": []})

    def test_sources_go_by_control_value(self):
        text = "modulation_source_3 = 6\nmodulation_target_3 = 2\nmodwheel_amount = 0.5\n"
        found = traits.traits(parse(text), TABLE)
        self.assertEqual((found["routing"], found["LFO"]), (["Modwheel to Mod Amt"], ["none"]))
        switched = text + "controls_filter_modulation_sw = 1\n"
        for more, kind in (("", "free"), ("opts_osc_3_lo_sync = 1", "tempo"),
                           ("osc_3_range = 2", "audio"), ("controls_modulation_mix = 1", "noise")):
            self.assertEqual(traits.traits(parse(switched + more), TABLE)["LFO"], [kind])

    def test_shares_count_each_sound_once(self):
        sounds = [parse(GOOD), parse("name = Deep Rubber QE")]
        shares = traits.shares([traits.traits(sound, TABLE) for sound in sounds])
        self.assertEqual(dict(shares["wave"]), {"Pulse": 1, "Saw": 1})
        self.assertEqual(shares["engine"], [("Late", 2)])


@unittest.skipUnless(find_spec("numpy") and find_spec("scipy"), "takes numpy and scipy")
class Figures(unittest.TestCase):
    RATE = 48000

    def saw(self, cents, seconds=3.0):
        import numpy as np
        hz = 220 * 2 ** (cents / 1200)
        t = np.arange(int(seconds * self.RATE)) / self.RATE
        return sum(np.sin(2 * np.pi * hz * n * t) / n for n in range(1, 30))

    def test_pitch_of_single_and_detuned_tones(self):
        import numpy as np
        from audition import analysis
        for cents in (0, 7, -31):
            found = analysis.pitch_cents(self.saw(cents), self.RATE, 57)
            self.assertAlmostEqual(found, cents, delta=0.5)
        pair = self.saw(-18) + self.saw(12)
        self.assertAlmostEqual(analysis.pitch_cents(pair, self.RATE, 57), -3, delta=1)
        noise = np.random.default_rng(1).standard_normal(3 * self.RATE)
        self.assertTrue(np.isnan(analysis.pitch_cents(noise, self.RATE, 57)))

    def test_attack_and_end(self):
        import numpy as np
        from audition import analysis
        tone = np.stack([self.saw(0)] * 2, axis=1)
        ramp = np.minimum(1, np.arange(len(tone)) / self.RATE)[:, None]  # -3 dB at 0.71 s
        self.assertAlmostEqual(analysis.attack_seconds(tone * ramp, self.RATE), 0.71, delta=0.03)
        # off at 1 s, then 60 dB in 1.5 s
        fall = 10 ** (-2 * np.maximum(0, np.arange(len(tone)) / self.RATE - 1))[:, None]
        found = analysis.end_seconds(tone * fall, self.RATE, 1.0, False)
        self.assertAlmostEqual(found, 1.5, delta=0.06)
        self.assertEqual(analysis.end_seconds(tone, self.RATE, 1.0, True), float("inf"))

    def test_distance_hears_colour_and_not_level(self):
        import numpy as np
        from audition import distance, phrases
        tone = np.stack([self.saw(0, phrases.SINGLE_SECONDS)] * 2, axis=1)
        thin = tone - np.concatenate([np.zeros((1, 2)), tone[:-1]])  # 6 dB an octave
        same, quiet, other = (distance.portrait(x, self.RATE) for x in (tone, 0.1 * tone, thin))
        self.assertAlmostEqual(distance.distance(same, quiet), 0, places=6)
        self.assertGreater(distance.distance(same, other), 5)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
