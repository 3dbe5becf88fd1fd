#!/usr/bin/env python3
# SPDX-License-Identifier: GPL-3.0-or-later
"""Runs the built make-soundbanks and zephra-render: make_soundbanks.py MAKE_SOUNDBANKS RENDER"""

import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

PROGRAM, RENDER = sys.argv[1:3]
BELL = """; how it is built
name = Bell QX
info = A bell; strike it hard. ; a comment, which the player does not see
phrase = keys            ; not for this program
octave = 1

filter_cutoff = 0.25     ; dark
polyphony=1
"""


class MakeSoundbanks(unittest.TestCase):
    def setUp(self):
        place = tempfile.TemporaryDirectory()
        self.addCleanup(place.cleanup)
        self.sources = Path(place.name) / "sources"
        self.target = Path(place.name) / "target"
        self.put("Bank/config.ini", "AuthorCode=QX\n")
        self.put("Bank/Bass/Bell QX.sound", BELL)
        self.put("Bank/Thud QX.sound", "name = Thud QX\ninfo = Thud\n")

    def put(self, place, text):
        path = self.sources / place
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text, encoding="utf-8")

    def run_it(self):
        return subprocess.run([PROGRAM, self.sources, self.target], capture_output=True, text=True,
                              timeout=60)

    def outputs(self):
        return sorted(str(path.relative_to(self.target)) for path in self.target.rglob("*")
                      if path.is_file())

    def test_sources_become_program_files(self):
        result = self.run_it()
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.assertEqual(self.outputs(),
                         ["Bank/Bass/Bell QX.fxp", "Bank/Thud QX.fxp", "Bank/config.ini"])
        self.assertEqual((self.target / "Bank/config.ini").read_text(), "AuthorCode=QX\n")
        bell = self.target / "Bank/Bass/Bell QX.fxp"
        self.assertIn(b"A bell; strike it hard.\0", bell.read_bytes())
        dump = subprocess.run([RENDER, "--dump", bell], capture_output=True, text=True).stdout
        for line in ['"71";"0";"0.2500"', '"1";"0";"1.0000"', '"7";"0";"0.5000"']:
            self.assertIn(line, dump.splitlines())

    def test_only_what_has_changed_is_written_and_what_has_gone_goes(self):
        self.run_it()
        bell, thud = self.target / "Bank/Bass/Bell QX.fxp", self.target / "Bank/Thud QX.fxp"
        stray = self.target / "Bank/notes.txt"
        stray.write_text("mine")
        before = thud.stat()
        self.put("Bank/Lead/Horn QX.sound", "name = Horn QX\ninfo = Horn\n")
        (self.sources / "Bank/Bass/Bell QX.sound").unlink()
        self.assertEqual(self.run_it().returncode, 0)
        self.assertFalse(bell.parent.exists())
        self.assertEqual(self.outputs(), ["Bank/Lead/Horn QX.fxp", "Bank/Thud QX.fxp",
                                          "Bank/config.ini", "Bank/notes.txt"])
        self.assertEqual(thud.stat().st_ino, before.st_ino)

    def test_every_fault_is_told_and_nothing_written(self):
        head = "name = Bell QX\ninfo = x\n"
        for text, *words in [
                (head + "filter_cutof = 1\n", "filter_cutof", 'did you mean "filter_cutoff"?'),
                (head + "filter_cutoff\n", "filter_cutoff", "not a number"),
                (head + "filter_cutoff = 0,3\n", "filter_cutoff", "not a number"),
                (head + "filter_cutoff = inf\n", "filter_cutoff", "not a number"),
                (head + "filter_cutoff = 1.01\n", "filter_cutoff", "outside 0 to 1"),
                (head + "pb_range_up = 49\n", "pb_range_up", "outside 0 to 48"),
                (head + "polyphony = 1.5\n", "polyphony", "not a whole number"),
                (head + "volume = 0.5\n", "volume", "is the default"),
                (head + "mixer_drive = 0.0781\n", "mixer_drive", "is the default"),
                (head + "volume = 0.4\nvolume = 0.6\n", "volume", "given 2 times"),
                (head + "panel_view = 1\n", "panel_view", "no patch stores"),
                (head + "[more]\nvolume = 1\n", "[more]", "no sections"),
                ("info = x\n", "name", "not what the file is called"),
                ("name = Bell\ninfo = x\n", "name", "not what the file is called"),
                ("name = Bell QX\n", "info", "missing"),
                ("name = Bell QX\ninfo = " + "x" * 512 + "\n", "info", "longer than 511 bytes")]:
            self.put("Bank/Bass/Bell QX.sound", text)
            result = self.run_it()
            self.assertEqual(result.returncode, 1, text)
            self.assertEqual(len(result.stderr.splitlines()), 1, result.stderr)
            for word in ["Bank/Bass/Bell QX.sound: ", *words]:
                self.assertIn(word, result.stderr)
            self.assertFalse(self.target.exists())

    def test_names_and_places(self):
        long_name = "A bell that has too long a name QX"
        for place, word in [("Bank/Lead/bell qx.sound", "taken by"),
                            ("Bell AA.sound", "not in a bank"),
                            ("Bank/Bass/Deep/Bell AA.sound", "not in a bank"),
                            (f"Bank/{long_name}.sound", "longer than 27 bytes")]:
            self.put(place, f"name = {Path(place).stem}\ninfo = x\n")
            result = self.run_it()
            self.assertEqual(result.returncode, 1)
            self.assertIn(word, result.stderr)
            (self.sources / place).unlink()
        self.assertEqual(self.run_it().returncode, 0)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
