#!/usr/bin/env python3
# SPDX-License-Identifier: GPL-3.0-or-later
"""Runs the built zephra-render as a user would: end_to_end.py PROGRAM SOURCE_ROOT"""

import json
import math
import os
import resource
import signal
import struct
import subprocess
import sys
import tempfile
import time
import unittest
from pathlib import Path

PROGRAM, ROOT = sys.argv[1], Path(sys.argv[2])
SONG = ROOT / "resources/songs/prelude-in-c.mid"
CHORD = ["--note", "48,100,0,0.2", "--note", "60,80,0.01,0.2", "--note", "67,120,0.1,0.15"]


def read_wav(data):
    """Rate and interleaved samples of a 32-bit float WAV."""
    assert data[:4] == b"RIFF" and data[8:12] == b"WAVE"
    assert struct.unpack("<I", data[4:8])[0] == len(data) - 8
    at, rate = 12, 0
    while True:
        name, size = struct.unpack("<4sI", data[at:at + 8])
        at += 8
        assert name != b"PEAK"  # which would carry the time of day
        if name == b"fmt ":
            rate = struct.unpack("<I", data[at + 4:at + 8])[0]
        if name == b"data":
            assert at + size == len(data)
            return rate, struct.unpack(f"<{size // 4}f", data[at:])
        at += size


class EndToEnd(unittest.TestCase):
    def setUp(self):
        place = tempfile.TemporaryDirectory()
        self.addCleanup(place.cleanup)
        self.folder = Path(place.name)
        self.out = self.folder / "out.wav"

    def start(self, *arguments, **options):
        return subprocess.run([PROGRAM, *map(str, arguments)], capture_output=True, timeout=300,
                              **options)

    def render(self, *arguments):
        """Bytes of the file of a render that must succeed."""
        result = self.start(*arguments, "--out", self.out, "--quiet")
        self.assertEqual((result.returncode, result.stdout, result.stderr), (0, b"", b""),
                         arguments)
        return self.out.read_bytes()

    def check_refused(self, status, names, *arguments, **options):
        """One line that names what is wrong, the promised status, nothing written."""
        before = sorted(self.folder.iterdir())
        result = self.start(*arguments, **options)
        message = result.stderr.decode()
        self.assertEqual(result.returncode, status, f"{arguments}: {message}")
        self.assertRegex(message, r"\Azephra-render: [^\n]+\n\Z")
        for name in [names] if isinstance(names, str) else names:
            self.assertIn(name, message)
        self.assertEqual(sorted(self.folder.iterdir()), before, f"litter after {arguments}")

    def test_what_cannot_be_done_is_named(self):
        (self.folder / "line\nbreak.mid").write_bytes(b"x")
        waiting = b"\xff\xff\xff\x7f\x90\x3c\x01" * 4  # a billion ticks
        (self.folder / "long.mid").write_bytes(
            b"MThd" + struct.pack(">IHHH", 6, 0, 1, 30000)
            + b"MTrk" + struct.pack(">I", len(waiting)) + waiting)
        (self.folder / "foreign.fxp").write_bytes(b"CcnK" + bytes(12) + b"ZPHX" + bytes(900))
        os.mkfifo(self.folder / "pipe.fxp")
        place = f"{self.folder}/"
        rows = [(2, "--note: ", "--note", "60,100,2,1"),
                (1, place + "missing.mid: No such file", place + "missing.mid"),
                (1, place + "line break.mid: ", place + "line\nbreak.mid"),
                (1, "WAV", place + "long.mid"),
                (1, "/dev/zero: ", "/dev/zero"),
                (1, "missing/x.wav: ", *CHORD, "--out", place + "missing/x.wav"),
                (1, "directory", *CHORD, "--out", self.folder),
                (1, "/dev/full: No space left", *CHORD, "--out", "/dev/full")]
        for option in ["--patch", "--dump", "--dump-xml"]:
            rows += [(1, "No such file", option, place + "missing.fxp"),
                     (1, "This is not a patch for The Zephra.", option, place + "foreign.fxp"),
                     (1, "pipe.fxp: ", option, place + "pipe.fxp")]
        for status, names, *arguments in rows:
            if "--out" not in arguments:
                arguments += ["--out", self.out, "--save-patch", self.folder / "new.fxp"]
            self.check_refused(status, names, *arguments)

    def test_full_disk_or_pipe_keeps_the_old_file(self):
        self.out.write_bytes(b"old")
        small = (100000, 100000)
        self.check_refused(1, "out.wav: ", *CHORD, "--seconds", "5", "--out", self.out,
                           preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, small))
        self.assertEqual(self.out.read_bytes(), b"old")
        with open("/dev/full", "wb") as full:
            result = subprocess.run([PROGRAM, *CHORD, "--out", "-"], stdout=full,
                                    stderr=subprocess.PIPE, check=False)
        self.assertEqual(result.returncode, 1)
        self.assertRegex(result.stderr, rb"\A[^\n]*standard output: No space left[^\n]*\n\Z")

    def test_a_wrong_command_line_is_named(self):
        for line, option, what in (
                ("", "--out", "missing"),
                ("--out x --bogus", "--bogus", "no such option"),
                ("--out - --json", "--json", "standard output"),
                ("--set volume", "--set", "NAME=VALUE"),
                ("--set volume=0,5", "--set", "not a number"),
                ("--set filter_cutof=1", "--set", '"filter_cutoff"?'),
                ("--auto volume=1@-1", "--auto", "TIME -1 is outside 0 to 86400"),
                ("--note 60,100,0", "--note", "KEY,VELOCITY,ON,OFF[,CHANNEL]"),
                ("--note 60.5,100,0,1", "--note", "KEY 60.5 is not a whole number"),
                ("--note 60,0,0,1", "--note", "VELOCITY 0"),
                ("--note 60,100,1,1", "--note", "ends before"),
                ("--note 60,100,0,inf", "--note", "OFF inf is outside"),
                ("--note 60,100,0,1,0", "--note", "CHANNEL 0 is outside 1 to 16"),
                ("--bend 1.01,0", "--bend", "VALUE 1.01 is outside -1 to 1"),
                ("--rate 0", "--rate", "outside 1"),
                ("--format f64", "--format", "none of f32, s24 and s16"),
                ("--save-patch - --out -", "--save-patch", "standard output"),
                ("--save-patch ./a --out a", "--save-patch", "this place"),
                ("--program 128,0", "--program", "NUMBER 128")):
            self.check_refused(2, (f"zephra-render: {option}: ", what), *line.split())
        self.check_refused(2, "--patch: ", "--patch", "", "--out", "x")

    def test_formats_links_and_the_old_file(self):
        link = self.folder / "link.wav"
        link.symlink_to("out.wav")
        self.out.write_bytes(b"old")
        arguments = [*CHORD, "--seconds", "0.1", "--set", "volume=1", "--set", "mixer_drive=1"]
        _, exact = read_wav(self.start(*arguments, "--out", "-").stdout)
        self.assertGreater(max(map(abs, exact)), 1)  # beyond full scale: to be limited
        for bits in (24, 16):
            self.start(*arguments, "--format", f"s{bits}", "--out", link)
            self.assertTrue(link.is_symlink())
            data = self.out.read_bytes()
            size, top = bits // 8, 2 ** (bits - 1)
            words = data[data.index(b"data") + 8:]
            self.assertEqual(
                [int.from_bytes(words[at:at + size], "little", signed=True)
                 for at in range(0, len(words), size)],
                [max(-top, min(top - 1, round(sample * top))) for sample in exact])

    def test_interrupted_render_leaves_nothing(self):
        process = subprocess.Popen([PROGRAM, "--seconds", "3600", "--out", self.out])
        while not list(self.folder.iterdir()):  # until it has begun to write
            time.sleep(0.01)
        process.send_signal(signal.SIGTERM)
        self.assertEqual(process.wait(60), -signal.SIGTERM)
        self.assertEqual(list(self.folder.iterdir()), [])

    def test_length_rate_and_summary(self):
        options = [*CHORD, "--seconds", "0.25", "--rate", "96000"]
        summary = json.loads(self.start(*options, "--json", "--out", self.out).stdout)
        rate, samples = read_wav(self.out.read_bytes())
        self.assertEqual((rate, len(samples)), (96000, 48000))
        self.assertEqual([summary[key] for key in ("rate", "samples", "seconds", "notes")],
                         [96000, 24000, 0.25, 3])
        rms = math.sqrt(sum(s * s for s in samples) / len(samples))
        self.assertAlmostEqual(summary["peak_dbfs"], 20 * math.log10(max(map(abs, samples))), 3)
        self.assertAlmostEqual(summary["rms_dbfs"], 20 * math.log10(rms), 3)
        self.assertGreater(summary["speed"], 0)
        piped = self.start(*options, "--out", "-")
        self.assertEqual(piped.stdout, self.out.read_bytes())
        self.assertIn(b"3 notes", piped.stderr)
        limited = self.start(*CHORD, "--rate", "22050", "--json", "--out", self.out)
        self.assertEqual(json.loads(limited.stdout)["rate"], 44100)

    def test_settings_automation_and_tempo_are_heard(self):
        arguments = [*CHORD, "--seconds", "0.2", "--set", "mixer_osc_3=1", "--set",
                     "opts_osc_3_lo_sync=1", "--set", "osc_3_semi=1"]
        plain = self.render(*arguments)
        self.assertNotEqual(self.render(*CHORD, "--seconds", "0.2"), plain)
        for tempo in ("120", "nan", "-3"):
            self.assertEqual(self.render(*arguments, "--tempo", tempo), plain)
        self.assertNotEqual(self.render(*arguments, "--no-snap"), plain)
        self.assertNotEqual(self.render(*arguments, "--tempo", "60"), plain)
        _, samples = read_wav(self.render(*arguments, "--auto", "volume=0@0.1"))
        _, before = read_wav(plain)
        block = 4800 // 512 * 512  # the one that holds 0.1 s
        self.assertEqual(samples[:2 * block], before[:2 * block])
        self.assertNotEqual(samples[2 * block:2 * block + 128],
                            before[2 * block:2 * block + 128])
        self.assertLess(max(map(abs, samples[-960:])), 0.05 * max(map(abs, before[-960:])))

    def test_a_saved_patch_brings_the_state_back(self):
        first, second = self.folder / "Low Brass.fxp", self.folder / "Second.fxp"
        self.render("--set", "filter_cutoff=0.3", "--set", "polyphony=2", "--save-patch", first,
                    "--auto", "filter_cutoff=0.9@0", "--seconds", 0.1)
        self.assertEqual(first.read_bytes()[28:38], b"Low Brass\0")
        sound = self.render("--patch", first, *CHORD, "--save-patch", second, "--set", "volume=0.4")
        self.assertNotEqual(sound, self.render("--set", "volume=0.4", *CHORD))
        lines = self.start("--dump", second).stdout.decode().splitlines()
        self.assertEqual(len(lines), 88)
        for line in ['"1";"0";"2.0000"', '"7";"0";"0.4000"', '"71";"0";"0.3000"']:
            self.assertIn(line, lines)
        self.assertIn(b"<id>71</id>\n\t\t\t<value>0.3000</value>\n",
                      self.start("--dump-xml", second).stdout)

    def test_a_library_brings_the_first_patch_and_programs(self):
        root = self.folder / "Soundbanks"
        for name, level in (("A/Loud", 0.5), ("A/Lead/Quiet", 0.1), ("B/Mid", 0.3)):
            (root / name).parent.mkdir(parents=True, exist_ok=True)
            self.render("--set", f"volume={level}", "--seconds", "0", "--save-patch",
                        root / f"{name}.fxp")
        rows = self.start("--list-patches", root).stdout.decode().splitlines()
        self.assertEqual(rows, [f"A\t-\tLoud\t{root}/A/Loud.fxp", f"B\t-\tMid\t{root}/B/Mid.fxp",
                                f"A\tLead\tQuiet\t{root}/A/Lead/Quiet.fxp"])

        def level(*arguments):
            return max(map(abs, read_wav(self.render(*CHORD, *arguments))[1]))

        for name, arguments in (("A/Loud", []), ("A/Lead/Quiet", ["--program", "1,0"]),
                                ("B/Mid", ["--cc", "32,3,0", "--program", "0,0"])):
            ratio = (level("--library", root, *arguments)
                     / level("--patch", root / f"{name}.fxp"))
            self.assertAlmostEqual(ratio, 1, delta=0.3, msg=arguments)
        self.assertEqual(sorted(p.name for p in root.iterdir()), ["A", "B"], "nothing is written")
        for option in ("--library", "--list-patches"):
            self.check_refused(1, "none", option, self.folder / "none", "--out", self.out)

    def test_control_table_and_demo_song(self):
        rows = self.start("--list-controls").stdout.decode().splitlines()[1:]
        self.assertEqual(len(rows), 92)
        cutoff = next(row for row in rows if "filter_cutoff" in row)
        self.assertEqual(cutoff.split(), ["71", "filter_cutoff", "34", "0.5", "841", "Hz"])

        lines = SONG.with_suffix(".settings").read_text().splitlines()
        settings = " ".join(line for line in lines if not line.startswith("#")).split()
        _, samples = read_wav(self.render(*settings, SONG, "--seconds", "1"))
        self.assertTrue(0.05 < max(map(abs, samples)) < 1)
        made = self.folder / "made.mid"
        subprocess.run([sys.executable, ROOT / "tools/make_song.py", SONG.with_suffix(".score"),
                        made], check=True)
        self.assertEqual(made.read_bytes(), SONG.read_bytes())


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
