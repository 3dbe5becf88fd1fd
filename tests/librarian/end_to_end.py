#!/usr/bin/env python3
# SPDX-License-Identifier: GPL-3.0-or-later
"""zephra-library as a user meets it: arguments in; output, exit status and the tree out.

end_to_end.py ZEPHRA_LIBRARY ZEPHRA_RENDER"""

import io
import json
import os
import shlex
import subprocess
import sys
import tempfile
import unittest
import zipfile
from datetime import datetime, timedelta
from pathlib import Path

PROGRAM, RENDER = Path(sys.argv.pop(1)).resolve(), sys.argv.pop(1)
PATCH = None  # bytes of a program file


def archive(items, method=zipfile.ZIP_DEFLATED, large=False, comment=b""):
    out = io.BytesIO()
    with zipfile.ZipFile(out, "w", method) as file:
        file.comment = comment
        for name, data in items:
            with file.open(name, "w", force_zip64=large) as item:
                item.write(data)
    return out.getvalue()


TREE = """A/Lead/x.fxp A/Poly/y.FXP A/z.fxp 'A/Pad AB.fxp' A/old.bin B/lead/w.fxp B/Z.fxp B/OLD.bin
    B/Old.bin Empty/Bass/notes Genetics/1.fxp Genetics/2.fxp loose.fxp Lead/root.fxp"""
DONE = """
move A/Lead/x.fxp --bank b                 | -A/Lead/x.fxp +B/lead/x.fxp
move A/poly/Y.fxp --bank B                 | -A/Poly/y.FXP +B/Poly/y.fxp
move A/z.fxp a/LEAD/x.fxp --bank User      | -A/z.fxp -A/Lead/x.fxp +User/z.fxp +User/Lead/x.fxp
move A/z.fxp --category SFX                | -A/z.fxp +A/SFX/z.fxp
move A/Lead/x.fxp --category ''            | -A/Lead/x.fxp +A/x.fxp
move Genetics/1.fxp --category Bass        | -Genetics/1.fxp +User/Bass/1.fxp
move loose.fxp --category Bass             | -loose.fxp +Bass/loose.fxp
move A/Lead/x.fxp --bank A                 |
rename A/Lead/x.fxp X                      | -A/Lead/x.fxp +A/Lead/X.fxp
rename-bank A a                            | -A/* +a/*
duplicate 'A/Pad AB.fxp'                   | +'A/Pad 1 AB.fxp'
duplicate A/Lead/x.fxp --bank B --category Poly | +B/Poly/x.fxp
duplicate A/Lead/x.fxp --bank User         | +User/Lead/x.fxp
duplicate A/z.fxp --bank B                 | +'B/z 1.fxp'
duplicate A/z.fxp --bank Genetics --category Bass | +Genetics/z.fxp
duplicate loose.fxp                        | +User/loose.fxp
trash A/z.fxp A/Poly/y.FXP                 | -A/z.fxp +A/z.bin -A/Poly/y.FXP +A/Poly/y.bin
restore a/OLD.bin                          | -A/old.bin +A/old.fxp
purge B/Old.bin                            | -B/Old.bin
purge A/old.bin a/old.bin                  | -A/old.bin
clear-trash                                | -A/old.bin -B/OLD.bin -B/Old.bin
purge B/Old.bin; restore-all               | -A/old.bin +A/old.fxp -B/Old.bin -B/OLD.bin +B/OLD.fxp
delete-bank Empty                          | -Empty/Bass/notes
delete-category Bass                       | -Empty/Bass/notes
import ../New/x.fxp                        | +User/x.fxp
import ../New/x.fxp --bank A --category LEAD | +'A/Lead/x 1.fxp'
import ../New/x.fxp --bank A --category Poly | +A/Poly/x.fxp
"""
REFUSED = """
move A/z.fxp --bank B            | File could not be moved. Please check
move A/z.fxp --bank Trash        | Trash: this is a list
move A/z.fxp --bank C            | C: there is no such bank
rename A/z.fxp 'Pad AB'          | File could not be moved. Please check
rename-bank A b                  | Soundbank already exists.
rename-bank A bass               | Soundbank already exists.
rename-bank A Trash              | Soundbank already exists.
rename-bank Genetics Mine        | Genetics: this bank keeps its name
rename-category Lead Solo        | Lead: the instrument's own categories
delete-bank A                    | Patches found: 4
delete-bank Genetics             | Genetics:
delete-category Lead             | Patches found: 3
delete-category Vintage          | Vintage: there is no folder
restore A/z.fxp                  | there is no such file in the trash
purge A/z.fxp                    | there is no such file in the trash
trash ../Soundbanks/A/z.fxp      | there is no such patch
favourite A/old.bin on           | there is no such patch
create-bank Lead                 | the folder could not be made
create-bank ''                   | not allowed in the name of the bank
breed A/z.fxp a/Z.fxp --store    | two or three
import ../Missing                | there is no such file or folder
import ../New/notes.txt          | this is no patch (.fxp), folder or ZIP
import ../text.zip               | Failed to open ZIP archive!
list --bank C                    | C:
list --category [c,d]            | [c,d]:
list --author QQ                 | QQ:
show A/z.fxp                     | A/z.fxp:
"""
FAVOURITES = """
rename A/Lead/x.fxp n            | A/z.fxp A/Lead/n.fxp
rename-bank A Zoo                | Zoo/z.fxp Zoo/Lead/x.fxp
move A/z.fxp --bank User         | User/z.fxp A/Lead/x.fxp
move A/Lead/x.fxp --category ''  | A/z.fxp A/x.fxp
trash A/z.fxp                    | A/Lead/x.fxp
favourite A/Lead/x.fxp off       | A/z.fxp
favourite A/z.fxp loose.fxp loose.fxp on | loose.fxp A/z.fxp A/Lead/x.fxp
clear-favourites                 |
"""
LISTS = """
                                 | loose 'Pad AB' root w x y z Z
--bank a                         | 'Pad AB' x y z
--category lead --category poly  | root w x y
--bank A --category Lead         | x
--bank A --uncategorized         | 'Pad AB' z
--uncategorized                  | loose 'Pad AB' z Z
--bank Genetics                  | 2 1
--author AB                      | 'Pad AB'
--search p                       | 'Pad AB'
--search OO                      | loose root
--search 1                       |
--favourites                     |
--trash                          | old OLD Old
"""
USAGE = """

frobnicate
show
move A/z.fxp
move A/z.fxp --bank B --category Lead
--root '' tree
list --trash --favourites
list --bank A --favourites
list extra
import
import ../New --bank B
breed A/z.fxp
breed A/z.fxp B/Z.fxp --store --mix nan
favourite A/z.fxp
favourite A/z.fxp maybe
"""


def rows(table):
    return [[part.strip() for part in row.split("|")] for row in table.strip("\n").split("\n")]


class Librarian(unittest.TestCase):
    def setUp(self):
        place = tempfile.TemporaryDirectory()
        self.addCleanup(place.cleanup)
        self.root = Path(place.name) / "Soundbanks"
        for name in (*shlex.split(TREE), "../New/x.fxp", "../New/notes.txt", "../text.zip"):
            self.put(name, name.encode())
        self.put("A/config.ini", b"AuthorCode=AB\nAuthorName=Ada Bell\n")

    def put(self, name, data=b""):
        (self.root / name).parent.mkdir(parents=True, exist_ok=True)
        (self.root / name).write_bytes(data)

    def files(self):
        return {str(p.relative_to(self.root)) for p in self.root.rglob("*")
                if p.is_file() and p.name not in ("config.ini", "Favourites.db")}

    def run_it(self, *arguments, status=0, root=None):
        result = subprocess.run([PROGRAM, "--root", root or self.root, *arguments],
                                capture_output=True, text=True, check=False, cwd=self.root)
        self.assertEqual(result.returncode, status, result.stderr)
        self.assertEqual(bool(result.stderr), status != 0, result.stderr)
        return result.stdout if status == 0 else result.stderr

    def json_of(self, *arguments):
        return json.loads(self.run_it("--json", *arguments))

    def test_commands_change_what_they_should_and_print_what_came(self):
        for commands, changes in rows(DONE):
            with self.subTest(commands):
                self.setUp()
                before = self.files()
                for command in commands.split("; "):
                    out = self.run_it(*shlex.split(command)).splitlines()
                after, expected = self.files(), shlex.split(changes)
                if "-A/*" in expected:
                    expected = [f"-{n}" for n in before if n.startswith("A/")]
                    expected += [n.replace("-A/", "+a/") for n in expected]
                self.assertEqual({f"-{n}" for n in before - after} | {f"+{n}" for n in after - before},
                                 set(expected))
                if command.split()[0] in ("move", "rename", "duplicate", "import"):
                    self.assertLessEqual(after - before, set(out))
        self.setUp()
        self.run_it("create-bank", "A new one")
        self.run_it("create-category", "Drums")
        self.assertTrue((self.root / "A new one").is_dir() and (self.root / "User/Drums").is_dir())

    def test_refusals_say_why_and_change_nothing(self):
        before = self.files()
        for command, message in rows(REFUSED):
            with self.subTest(command):
                self.assertIn(message, self.run_it(*shlex.split(command), status=1))
                self.assertEqual(self.files(), before)
        for name in ("", ".", ".hidden", "../B/x", "a\\b", "a:b", "*", "<", ">", "|", "a\nb"):
            self.assertIn("The following characters are not allowed in the name of the patch:\n\n"
                          "   /   \\  :  *  <  >  | ", self.run_it("rename", "A/z.fxp", name, status=1))
        self.assertIn("The maximum patch name length is 64 characters.",
                      self.run_it("rename", "A/z.fxp", "n" + "ä" * 64, status=1))
        self.run_it("rename", "A/z.fxp", 'Really? "' + "ä" * 54 + '"')
        self.assertIn("Missing.fxp", self.run_it("trash", "A/Missing.fxp", "loose.fxp", status=1))
        self.assertIn("loose.bin", self.files(), "the rest of a batch is done")
        for command, in rows(USAGE):
            self.assertIn("usage: zephra-library", self.run_it(*shlex.split(command), status=2))

    def test_favourites_follow(self):
        for command, favourites in rows(FAVOURITES):
            with self.subTest(command):
                self.setUp()
                self.run_it("favourite", "A/z.fxp", "A/Lead/x.fxp", "on")
                self.run_it(*shlex.split(command))
                self.assertEqual(set(self.run_it("list", "--favourites").split()),
                                 set(favourites.split()))

    def test_looking(self):
        for options, names in rows(LISTS):
            found = self.run_it("list", *shlex.split(options)).splitlines()
            self.assertEqual([Path(name).stem for name in found], shlex.split(names), options)
        tree = self.json_of("tree")
        self.assertEqual([(bank["name"], bank["patches"]) for bank in tree["banks"]],
                         [("Favourites", 0), ("Genetics", 2), ("User", 0), ("A", 4), ("B", 2),
                          ("Empty", 0), ("Trash", 3)])
        self.assertIn({"name": "Lead", "patches": 3}, tree["categories"])
        self.put("A/Lead/Solo AB.fxp", PATCH)
        shown = self.json_of("show", "a\\LEAD\\Solo AB.fxp")
        controls = shown.pop("controls")
        self.assertEqual(shown, {"name": "Solo AB", "bank": "A", "category": "Lead", "info": "",
                                 "authorCodes": ["AB"], "authors": ["Ada Bell"],
                                 "favourite": False})
        self.assertEqual((len(controls), controls["filter_cutoff"]["value"]), (88, 0.25))
        self.assertFalse((self.root / "Favourites.db").exists(), "looking writes nothing")

    def test_children(self):
        other, file = self.root / "A/Other.fxp", self.root.parent / "Child.fxp"
        for name in ("A/Pad.fxp", "User/Mine ZZ.fxp"):
            self.put(name, PATCH)
        subprocess.run([RENDER, "--set", "filter_cutoff=0.75", "--save-patch", other, "--seconds",
                        "0", "--out", self.root / "x.wav", "--quiet"], check=True)
        before = self.files()
        children = set()
        for mix in ("0", "1", "0"):
            out = self.run_it("breed", "A/Pad.fxp", "A/Other.fxp", "--mix", mix, "--seed", "8000",
                              "--out", file)
            self.assertEqual(out, f"{file}\nPad|Other|1f42\n8002\n")
            children.add(file.read_bytes())
        self.assertEqual(len(children), 2, "the same mix and seed give the same child")
        self.assertEqual(self.files(), before, "nothing of it goes into the library")
        child = self.json_of("breed", "a/pad.fxp", "A/Other.fxp", "User/Mine ZZ.fxp", "--store")
        self.assertEqual(self.files() - before, {child["patch"]})
        born = datetime.strptime(child["patch"], f"Genetics/%y%m%d-%H%M%S-{child['seed']:X}.fxp")
        self.assertLess(abs(datetime.now() - born), timedelta(minutes=1))
        shown = self.json_of("show", child["patch"])
        self.assertEqual([child["info"], shown["info"]], ["Pad|Other|Mine ZZ"] * 2)
        self.assertIn(shown["controls"]["filter_cutoff"]["value"], (0.25, 0.75))

    def test_imports_without_patches(self):
        # More files than an archive of the old kind can count.
        many = [(f"{i}.txt", b"") for i in range(65535)] + [("x.fxp", b"")]
        for name, data in (("nothing.zip", archive([])), ("many.zip", archive(many))):
            self.put("../" + name, data)
            self.assertEqual(self.run_it("import", "../" + name, status=1),
                             "Nothing found to import!\n")

    def test_archives_of_all_kinds(self):
        large = b"low" * 90000  # more than is read at once
        items = [("Pack/Top AB.fxp", b"top"), ("Pack/Bass/Low.fxp", large),
                 ("Pack/Old/Lead/Sölo.fxp", b"solo"), ("Pack/Read me.txt", b"text"),
                 ("Pack/.hidden.fxp", b"hidden"), ("Pack/config.ini", b"AuthorCode=AB\n")]
        stored = archive(items, zipfile.ZIP_STORED)
        for i, data in enumerate((
                stored, archive(items), archive(items, large=True),
                archive(items, comment=b"by hand"), b"#!/bin/sh\n" + stored)):
            self.put("../Pack.zip", data)
            bank = self.json_of("import", self.root.parent / "Pack.zip")["bank"]
            self.assertEqual(bank, f"Pack ({i})" if i else "Pack")
            self.assertEqual({str(path.relative_to(self.root / bank)): path.read_bytes()
                              for path in (self.root / bank).rglob("*") if path.is_file()},
                             {"Top AB.fxp": b"top", "Bass/Low.fxp": large, "Lead/Sölo.fxp": b"solo",
                              "config.ini": b"AuthorCode=AB\n"})
            self.assertEqual((self.root.parent / "Pack.zip").read_bytes(), data)

    def test_where_the_library_is(self):
        home = self.root.parent
        self.put("../.config/user-dirs.dirs",
                 b'#XDG_DOCUMENTS_DIR="/no"\nXDG_DOCUMENTS_DIR="$HOME/Papers"\n')
        for variables, folder in (({"ZEPHRA_DATA_ROOT": str(home)}, home),
                                  ({"XDG_DOCUMENTS_DIR": str(home / "Docs")},
                                   home / "Docs/Quillon Audio/Zephra"),
                                  ({}, home / "Papers/Quillon Audio/Zephra")):
            (folder / "Soundbanks/Here").mkdir(parents=True)
            tree = subprocess.run([PROGRAM, "tree"], capture_output=True, text=True, check=True,
                                  env={"HOME": str(home), **variables}).stdout
            self.assertIn("Here", tree, variables)
        (self.root / "back\\slash").mkdir()
        for name in ("none", "A/z.fxp", "back\\slash"):
            self.assertIn(name, self.run_it("tree", status=1, root=self.root / name))
        self.assertFalse((self.root / "none").exists())


with tempfile.TemporaryDirectory() as scratch:
    made = Path(scratch) / "made.fxp"
    subprocess.run([RENDER, "--set", "filter_cutoff=0.25", "--save-patch", made, "--seconds", "0",
                    "--out", Path(scratch) / "out.wav", "--quiet"], check=True)
    PATCH = made.read_bytes()
    os.environ.pop("ZEPHRA_DATA_ROOT", None)
    unittest.main(verbosity=1)
