#!/usr/bin/env python3
# SPDX-License-Identifier: GPL-3.0-or-later
"""What cmake --install puts where, from a prefix that nobody knew of at build time.

install_test.py CMAKE BUILD_FOLDER"""

import gzip
import os
import re
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

    def test_programs_find_the_factory_banks_and_nothing_remembers_where_it_was_built(self):
        nowhere = "/nonexistent"  # no sound, wherever this runs
        self.run_it("zephra", status=3, XDG_RUNTIME_DIR=nowhere, PULSE_SERVER=nowhere,
                    JACK_DEFAULT_SERVER="none", ALSA_CONFIG_PATH=nowhere)
        home = Path(self.place.name) / "Documents/Quillon Audio/Zephra/Soundbanks"
        installed = self.prefix / "share/zephra/soundbanks"
        banks = [path.relative_to(installed) for path in installed.rglob("*.fxp")]
        self.assertGreater(len(banks), 100)
        for path in banks:
            self.assertEqual((home / path).read_bytes(), (installed / path).read_bytes(), path)
        self.assertIn("Showcase", self.run_it("zephra-library", "tree"))
        for path in ("lib/vst/Zephra.so", "lib/lv2/Zephra.lv2/manifest.ttl"):
            self.assertTrue((self.prefix / path).is_file(), path)
        for path in filter(Path.is_file, self.prefix.rglob("*")):
            self.assertNotIn(BUILD.encode(), path.read_bytes(), path)

    def test_desktop_data_is_valid_and_manual_pages_name_every_option(self):
        share = self.prefix / "share"
        for size in (48, 128):
            png = (share / f"icons/hicolor/{size}x{size}/apps/zephra.png").read_bytes()
            self.assertEqual(png[16:24], size.to_bytes(4, "big") * 2)
        checks = [["desktop-file-validate", share / "applications/zephra.desktop"],
                  ["appstreamcli", "validate", "--no-net",
                   share / "metainfo/com.quillonaudio.zephra.metainfo.xml"]]
        for program in PROGRAMS:
            page = share / f"man/man1/{program}.1.gz"
            checks.append(["mandoc", "-T", "lint", "-W", "warning", page])
            named = re.findall(r"[-\w]+", gzip.decompress(page.read_bytes()).decode())
            for option in re.findall(r"(?m)^  (?:-\w,)?(--[\w-]+)", self.run_it(program, "--help")):
                self.assertTrue(option[1:] in named, f"{program}: {option}")
        for command in filter(lambda check: shutil.which(check[0]), checks):
            result = subprocess.run(command, capture_output=True, text=True, check=False)
            self.assertEqual(result.returncode, 0, result.stdout + result.stderr)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
