#!/usr/bin/env python3
# SPDX-License-Identifier: GPL-3.0-or-later
"""zephra-library imports the archives that people have: those of Info-ZIP, 7-Zip and Python, stored
and deflated, each of them twice. Programs that are not installed are left out.

archives.py ZEPHRA_LIBRARY"""

import shutil
import subprocess
import sys
import tempfile
import unittest
import zipfile
from pathlib import Path

PROGRAM = sys.argv.pop(1)
FILES = {"Pack/Top AB.fxp": b"top", "Pack/Bass/Low.fxp": b"low" * 9000,
         "Pack/Old/Lead/Sölo.fxp": b"solo", "Pack/Read me.txt": b"text",
         "Pack/.hidden.fxp": b"hidden", "Pack/config.ini": b"AuthorCode=AB\nAuthorName=Ada Bell\n"}
IMPORTED = {"Top AB.fxp": b"top", "Bass/Low.fxp": b"low" * 9000, "Lead/Sölo.fxp": b"solo",
            "config.ini": FILES["Pack/config.ini"]}


def run(*command, cwd=None):
    return subprocess.run(command, cwd=cwd, capture_output=True, text=True, check=True).stdout


def info_zip(folder, archive, deflate):
    run("zip", "-r", "-9" if deflate else "-0", archive, "Pack", cwd=folder)


def seven_zip(folder, archive, deflate):
    run("7z", "a", "-tzip", "-mx=9" if deflate else "-mx=0", archive, "Pack", cwd=folder)


def python_zip(folder, archive, deflate):
    with zipfile.ZipFile(archive, "w",
                         zipfile.ZIP_DEFLATED if deflate else zipfile.ZIP_STORED) as made:
        for path in sorted((folder / "Pack").rglob("*")):
            made.write(path, path.relative_to(folder))


class Archives(unittest.TestCase):
    def test_every_program(self):
        for program, write in (("zip", info_zip), ("7z", seven_zip), ("python3", python_zip)):
            for deflate in (False, True):
                with self.subTest(program=program, deflate=deflate):
                    if not shutil.which(program):
                        self.skipTest(program + " is not installed")
                    self.import_twice(write, deflate)

    def import_twice(self, write, deflate):
        with tempfile.TemporaryDirectory() as place:
            source, root = Path(place) / "source", Path(place) / "Soundbanks"
            root.mkdir()
            for name, data in FILES.items():
                (source / name).parent.mkdir(parents=True, exist_ok=True)
                (source / name).write_bytes(data)
            archive = Path(place) / "Pack.zip"
            write(source, archive, deflate)
            before = archive.read_bytes()
            for bank in ("Pack", "Pack (1)"):
                self.assertEqual(run(PROGRAM, "--root", root, "import", archive), bank + "\n")
                found = {str(path.relative_to(root / bank)): path.read_bytes()
                         for path in (root / bank).rglob("*") if path.is_file()}
                self.assertEqual(found, IMPORTED)
            self.assertEqual(archive.read_bytes(), before)


unittest.main(verbosity=1)
