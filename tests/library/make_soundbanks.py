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

filter_cutoff = 0.25     ; dark
polyphony=1
"""
HEAD = "name = Bell QX\ninfo = x\n"
LONG_NAME = "A bell that has too long a name QX"
FAULTS = [  # place, text, and what is told about it
    ("Bank/Bass/Bell QX", HEAD + "filter_cutof = 1\n", 'did you mean "filter_cutoff"?'),
    ("Bank/Bass/Bell QX", HEAD + "filter_cutoff\n", "filter_cutoff: "),
    ("Bank/Bass/Bell QX", HEAD + "filter_cutoff = 0,3\n", "not a number"),
    ("Bank/Bass/Bell QX", HEAD + "filter_cutoff = inf\n", "not a number"),
    ("Bank/Bass/Bell QX", HEAD + "filter_cutoff = 1.01\n", "outside 0 to 1"),
    ("Bank/Bass/Bell QX", HEAD + "polyphony = 1.5\n", "not a whole number"),
    ("Bank/Bass/Bell QX", HEAD + "mixer_drive = 0.0781\n", "is the default"),
    ("Bank/Bass/Bell QX", HEAD + "volume = 0.4\nvolume = 0.6\n", "given 2 times"),
    ("Bank/Bass/Bell QX", HEAD + "panel_view = 1\n", "no patch stores"),
    ("Bank/Bass/Bell QX", HEAD + "[more]\nvolume = 1\n", "no sections"),
    ("Bank/Bass/Bell QX", "name = Bell\ninfo = x\n", "not what the file is called"),
    ("Bank/Bass/Bell QX", "name = Bell QX\n", "info: missing"),
    ("Bank/Bass/Bell QX", "name = Bell QX\ninfo = " + "x" * 512, "longer than 511 bytes"),
    ("Bank/Lead/bell qx", "name = bell qx\ninfo = x\n", "taken by"),
    ("Bell AA", "name = Bell AA\ninfo = x\n", "not in a bank"),
    ("Bank/Bass/Deep/Bell AA", "name = Bell AA\ninfo = x\n", "not in a bank"),
    (f"Bank/{LONG_NAME}", f"name = {LONG_NAME}\ninfo = x\n", "longer than 27 bytes"),
]


class MakeSoundbanks(unittest.TestCase):
    def setUp(self):
        place = tempfile.TemporaryDirectory()
        self.addCleanup(place.cleanup)
        self.sources, self.target = Path(place.name) / "sources", Path(place.name) / "target"
        self.put("Bank/config.ini", "AuthorCode=QX\n")
        self.put("Bank/Bass/Bell QX.sound", BELL)
        self.put("Bank/Thud QX.sound", "name = Thud QX\ninfo = Thud\n")

    def put(self, place, text):
        (self.sources / place).parent.mkdir(parents=True, exist_ok=True)
        (self.sources / place).write_text(text, encoding="utf-8")

    def run_it(self):
        return subprocess.run([PROGRAM, self.sources, self.target], capture_output=True, text=True)

    def outputs(self):
        return {str(path.relative_to(self.target)) for path in self.target.rglob("*")
                if path.is_file()}

    def test_the_target_becomes_what_the_sources_tell(self):
        result = self.run_it()
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.assertEqual(self.outputs(),
                         {"Bank/Bass/Bell QX.fxp", "Bank/Thud QX.fxp", "Bank/config.ini"})
        bell, thud = self.target / "Bank/Bass/Bell QX.fxp", self.target / "Bank/Thud QX.fxp"
        self.assertIn(b"A bell; strike it hard.\0", bell.read_bytes())
        dump = subprocess.run([RENDER, "--dump", bell], capture_output=True, text=True).stdout
        for line in ['"71";"0";"0.2500"', '"1";"0";"1.0000"', '"7";"0";"0.5000"']:
            self.assertIn(line, dump.splitlines())

        (self.target / "Bank/notes.txt").write_text("mine")
        before = thud.stat()
        self.put("Bank/Lead/Horn QX.sound", "name = Horn QX\ninfo = Horn\n")
        (self.sources / "Bank/Bass/Bell QX.sound").unlink()
        self.assertEqual(self.run_it().returncode, 0)
        self.assertFalse(bell.parent.exists())
        self.assertEqual(self.outputs(), {"Bank/Lead/Horn QX.fxp", "Bank/Thud QX.fxp",
                                          "Bank/config.ini", "Bank/notes.txt"})
        self.assertEqual(thud.stat().st_ino, before.st_ino, "what has not changed is not written")

    def test_every_fault_is_told_and_nothing_written(self):
        for place, text, what in FAULTS:
            self.put("Bank/Bass/Bell QX.sound", BELL)
            self.put(place + ".sound", text)
            result = self.run_it()
            self.assertEqual(result.returncode, 1, text)
            self.assertRegex(result.stderr, r"\A[^\n]*\n\Z")
            self.assertIn(place + ".sound: ", result.stderr)
            self.assertIn(what, result.stderr)
            self.assertFalse(self.target.exists())
            (self.sources / (place + ".sound")).unlink()


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
