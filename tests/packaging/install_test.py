#!/usr/bin/env python3
# SPDX-License-Identifier: GPL-3.0-or-later
"""What cmake --install puts where, from a prefix that nobody knew of at build time.

install_test.py CMAKE BUILD_FOLDER"""

import os
import shutil
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

CMAKE, BUILD = sys.argv[1:3]
PROGRAMS = ("zephra", "zephra-render", "zephra-library")


class Installed(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.place = tempfile.TemporaryDirectory()
        cls.addClassCleanup(cls.place.cleanup)
        cls.prefix = Path(cls.place.name) / "a prefix"
        subprocess.run([CMAKE, "--install", BUILD, "--prefix", cls.prefix, "--strip"], check=True,
                       stdout=subprocess.DEVNULL)

    def run_it(self, program, *arguments, status=0, **environment):
        result = subprocess.run(
            [self.prefix / "bin" / program, *arguments], stdin=subprocess.DEVNULL,
            capture_output=True, text=True, check=False, timeout=60, cwd="/",
            env={"PATH": os.environ["PATH"], "HOME": self.place.name} | environment)
        self.assertEqual(result.returncode, status, result.stderr)
        return result.stdout

    def test_programs_run_and_find_the_factory_banks(self):
        for program in PROGRAMS:
            self.assertIn("Usage:", self.run_it(program, "--help"))
        home = Path(self.place.name) / "Documents/Quillon Audio/Zephra/Soundbanks"
        nowhere = "/nonexistent"  # no sound, wherever this runs
        self.run_it("zephra", status=3, XDG_RUNTIME_DIR=nowhere, PULSE_SERVER=nowhere,
                    JACK_DEFAULT_SERVER="none", ALSA_CONFIG_PATH=nowhere)
        installed = self.prefix / "share/zephra/soundbanks"
        banks = [path.relative_to(installed) for path in installed.rglob("*.fxp")]
        self.assertGreater(len(banks), 100)
        for path in banks:
            self.assertEqual((home / path).read_bytes(), (installed / path).read_bytes(), path)
        self.assertIn("Showcase", self.run_it("zephra-library", "tree"))

    def test_plug_ins_lie_where_hosts_look(self):
        for path in ("lib/vst/Zephra.so", "lib/lv2/Zephra.lv2/manifest.ttl"):
            self.assertTrue((self.prefix / path).is_file(), path)

    def test_nothing_remembers_where_it_was_built(self):
        for path in self.prefix.rglob("*"):
            if path.is_file():
                self.assertNotIn(BUILD.encode(), path.read_bytes(), path)

    def test_desktop_data_is_valid(self):
        share = self.prefix / "share"
        for size in ("48x48", "128x128"):
            png = (share / f"icons/hicolor/{size}/apps/zephra.png").read_bytes()
            self.assertEqual(f"{int.from_bytes(png[16:20], 'big')}x"
                             f"{int.from_bytes(png[20:24], 'big')}", size)
        for command in (["desktop-file-validate", share / "applications/zephra.desktop"],
                        ["appstreamcli", "validate", "--no-net",
                         share / "metainfo/com.quillonaudio.zephra.metainfo.xml"]):
            if shutil.which(command[0]):
                result = subprocess.run(command, capture_output=True, text=True, check=False)
                self.assertEqual(result.returncode, 0, result.stdout + result.stderr)

    def test_manual_pages_name_every_option(self):
        for program in PROGRAMS:
            page = self.prefix / f"share/man/man1/{program}.1.gz"
            text = subprocess.run(["gzip", "-dc", page], capture_output=True, text=True,
                                  check=True).stdout
            words = text.replace(",", " ").split()
            for line in self.run_it(program, "--help").splitlines():
                name = next((word for word in line.replace(",", " ").split()
                             if word.startswith("--")), None) if line.startswith("  -") else None
                if name:
                    self.assertTrue(name[1:] in words, f"{program}: {name}")
            if shutil.which("mandoc"):
                warned = subprocess.run(["mandoc", "-T", "lint", "-W", "warning"], input=text,
                                        capture_output=True, text=True, check=False)
                self.assertEqual(warned.stdout + warned.stderr, "")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
