#!/usr/bin/env python3
# SPDX-License-Identifier: GPL-3.0-or-later
"""zephra-library as a user meets it: arguments in; output, exit status and the tree out.

end_to_end.py ZEPHRA_LIBRARY ZEPHRA_RENDER"""

import json
import os
import subprocess
import sys
import tempfile
import unittest
import zipfile
from pathlib import Path

PROGRAM, RENDER = sys.argv.pop(1), sys.argv.pop(1)
PATCH = None  # bytes of a program file


class Librarian(unittest.TestCase):
    def setUp(self):
        place = tempfile.TemporaryDirectory()
        self.addCleanup(place.cleanup)
        self.root = Path(place.name) / "Soundbanks"
        for name in ("A/Lead/Solo AB.fxp", "A/Pad.fxp", "B/lead/Other.fxp", "User/Mine ZZ.fxp"):
            self.put(name, PATCH)
        self.put("A/config.ini", b"AuthorCode=AB\nAuthorName=Ada Bell\n")

    def put(self, name, data=b""):
        (self.root / name).parent.mkdir(parents=True, exist_ok=True)
        (self.root / name).write_bytes(data)

    def files(self):
        return {str(p.relative_to(self.root)) for p in self.root.rglob("*")
                if p.is_file() and p.name not in ("config.ini", "Favourites.db")}

    def call(self, *arguments):
        return subprocess.run([PROGRAM, "--root", self.root, *arguments], capture_output=True,
                              text=True, check=False)

    def run_it(self, *arguments, status=0):
        result = self.call(*arguments)
        self.assertEqual(result.returncode, status, result.stderr)
        self.assertEqual(bool(result.stderr), status != 0, result.stderr)
        return result.stdout if status == 0 else result.stderr

    def test_lists_narrow_down(self):
        for options, expected in (
                ([], ["User/Mine ZZ.fxp", "B/lead/Other.fxp", "A/Pad.fxp", "A/Lead/Solo AB.fxp"]),
                (["--bank", "a"], ["A/Pad.fxp", "A/Lead/Solo AB.fxp"]),
                (["--category", "lead"], ["B/lead/Other.fxp", "A/Lead/Solo AB.fxp"]),
                (["--bank", "A", "--uncategorized"], ["A/Pad.fxp"]),
                (["--author", "AB"], ["A/Lead/Solo AB.fxp"]),
                (["--author", "---"], ["User/Mine ZZ.fxp"]),
                (["--search", "o"], ["B/lead/Other.fxp"]),
                (["--search", "OL"], ["A/Lead/Solo AB.fxp"]),
                (["--favourites"], []), (["--trash"], [])):
            self.assertEqual(self.run_it("list", *options).splitlines(), expected, options)
        for options in (["--bank", "C"], ["--category", "[c,d]"], ["--author", "QQ"]):
            self.assertIn(options[1] + ": ", self.run_it("list", *options, status=1))
        self.assertFalse((self.root / "Favourites.db").exists(), "looking writes nothing")

    def test_tree_and_show(self):
        tree = json.loads(self.run_it("--json", "tree"))
        self.assertEqual([(bank["name"], bank["patches"]) for bank in tree["banks"]],
                         [("Favourites", 0), ("Genetics", 0), ("User", 1), ("A", 2), ("B", 1),
                          ("Trash", 0)])
        self.assertIn({"name": "Lead", "patches": 2}, tree["categories"])
        shown = json.loads(self.run_it("--json", "show", "a\\LEAD\\Solo AB.fxp"))
        self.assertEqual([shown[key] for key in ("name", "bank", "category", "authorCodes",
                                                 "authors", "favourite")],
                         ["Solo AB", "A", "Lead", ["AB"], ["Ada Bell"], False])
        self.assertEqual(shown["controls"]["filter_cutoff"]["value"], 0.25)
        self.assertEqual(len(shown["controls"]), 88)
        self.put("A/Broken.fxp", b"no patch")
        self.assertIn("A/Broken.fxp", self.run_it("show", "A/Broken.fxp", status=1))

    def test_a_day_in_a_library(self):
        self.assertEqual(self.run_it("move", "A/pad.fxp", "A/Lead/Solo AB.fxp", "--bank", "b"),
                         "B/Pad.fxp\nB/lead/Solo AB.fxp\n")
        self.assertEqual(self.run_it("move", "B/Pad.fxp", "--category", "Chords"),
                         "B/Chords/Pad.fxp\n")
        self.assertEqual(self.run_it("duplicate", "B/lead/Solo AB.fxp"), "B/lead/Solo 1 AB.fxp\n")
        self.assertEqual(self.run_it("duplicate", "B/lead/Solo AB.fxp", "--bank", "User",
                                     "--category", "Bass"), "User/Bass/Solo AB.fxp\n")
        self.assertEqual(self.run_it("rename", "B/Chords/Pad.fxp", "Wide"), "B/Chords/Wide.fxp\n")
        self.run_it("favourite", "B/Chords/Wide.fxp", "User/Mine ZZ.fxp", "on")
        self.run_it("rename-bank", "b", "Best")
        self.assertEqual(self.run_it("list", "--favourites").splitlines(),
                         ["User/Mine ZZ.fxp", "Best/Chords/Wide.fxp"])
        self.run_it("trash", "User/Mine ZZ.fxp", "Best/lead/Other.fxp", "Best/lead/Solo AB.fxp")
        self.run_it("restore", "Best/lead/other.bin")
        self.run_it("purge", "Best/lead/Solo AB.bin")
        self.assertEqual(self.run_it("list", "--trash"), "User/Mine ZZ.bin\n")
        self.put("Best/MINE.bin", b"kept")
        self.put("Best/Mine.bin", b"gone")
        self.run_it("purge", "Best/Mine.bin")
        self.assertEqual((self.root / "Best/MINE.bin").read_bytes(), b"kept")
        (self.root / "Best/MINE.bin").unlink()
        self.run_it("delete-bank", "A")
        self.run_it("create-bank", "A new one")
        self.run_it("create-category", "Drums")
        self.run_it("favourite", "Best/Chords/Wide.fxp", "Best/lead/Other.fxp", "off")
        self.assertEqual(self.run_it("list", "--favourites"), "")
        self.assertEqual(self.files(), {"User/Mine ZZ.bin", "User/Bass/Solo AB.fxp",
                                        "Best/lead/Solo 1 AB.fxp", "Best/lead/Other.fxp",
                                        "Best/Chords/Wide.fxp"})
        self.run_it("restore-all")
        self.run_it("trash", "Best/Chords/Wide.fxp")
        self.run_it("clear-trash")
        self.run_it("delete-category", "Chords")
        self.assertEqual(self.files(), {"User/Mine ZZ.fxp", "User/Bass/Solo AB.fxp",
                                        "Best/lead/Solo 1 AB.fxp", "Best/lead/Other.fxp"})

    def test_children(self):
        other = self.root / "A/Other.fxp"
        subprocess.run([RENDER, "--set", "filter_cutoff=0.75", "--save-patch", other, "--seconds",
                        "0", "--out", self.root / "x.wav", "--quiet"], check=True)
        before = self.files()
        # At mix 0 all comes from the first parent, but for one draw in 65536.
        for mix, seed, cutoffs in (("0", "8000", {0.25}), ("1", "8000", {0.25, 0.75})):
            children = []
            for _ in range(2):
                file = self.root.parent / "Child.fxp"
                out = self.run_it("breed", "A/Pad.fxp", "A/Other.fxp", "--mix", mix,
                                  "--seed", seed, "--out", file)
                self.assertEqual(out, f"{file}\nPad|Other|1f42\n8002\n")
                children.append(file.read_bytes())
            self.assertEqual(*children)
            self.put("User/Child.fxp", children[0])
            controls = json.loads(self.run_it("--json", "show", "User/Child.fxp"))["controls"]
            self.assertIn(controls["filter_cutoff"]["value"], cutoffs)
            (self.root / "User/Child.fxp").unlink()
        self.assertEqual(self.files(), before, "nothing of it goes into the library")
        child = json.loads(self.run_it("--json", "breed", "a/pad.fxp", "A/Other.fxp",
                                       "User/Mine ZZ.fxp", "--store"))
        self.assertEqual(self.files() - before, {child["patch"]})
        self.assertRegex(child["patch"], rf"^Genetics/\d{{6}}-\d{{6}}-{child['seed']:X}\.fxp$")
        self.assertEqual(child["info"], "Pad|Other|Mine ZZ")
        shown = json.loads(self.run_it("--json", "show", child["patch"]))
        self.assertEqual(shown["info"], child["info"])
        self.assertIn("two or three", self.run_it("breed", "A/Pad.fxp", "a/PAD.fxp", "--store",
                                                  status=1))
        self.put("A/Broken.fxp", b"no patch")
        self.assertEqual(self.call("breed", "A/Pad.fxp", "A/Broken.fxp", "--store").returncode, 0)

    def test_imports(self):
        outside = self.root.parent
        for name in ("Pack/Lead/New.fxp", "Pack/Old/Lead/Deep.fxp"):
            self.put("../" + name, PATCH)
        with zipfile.ZipFile(outside / "pack.zip", "w") as archive:
            archive.writestr("Any/Bass/Low.fxp", PATCH)
        self.assertEqual(self.run_it("import", outside / "Pack"), "Pack\n")
        self.assertEqual(json.loads(self.run_it("--json", "import", outside / "pack.zip")),
                         {"bank": "pack (1)"})
        self.assertEqual(self.run_it("import", outside / "Pack/Lead/New.fxp"), "User/New.fxp\n")
        self.assertEqual(json.loads(self.run_it("--json", "import", outside / "Pack/Lead/New.fxp",
                                                "--bank", "B", "--category", "LEAD")),
                         {"patches": ["B/lead/New.fxp"]})
        before = self.files()
        self.assertLessEqual({"Pack/Lead/New.fxp", "Pack/Lead/Deep.fxp", "pack (1)/Bass/Low.fxp",
                              "User/New.fxp", "B/lead/New.fxp"}, before)
        self.put("../Empty/readme.txt")
        self.put("../text.zip", b"text")
        zipfile.ZipFile(outside / "nothing.zip", "w").close()
        for source, message in (("Empty", "Nothing found to import!\n"),
                                ("nothing.zip", "Nothing found to import!\n"),
                                ("text.zip", "Failed to open ZIP archive!\n"),
                                ("Missing", "there is no such file or folder\n"),
                                ("Empty/readme.txt", "this is no patch (.fxp), folder or ZIP")):
            self.assertIn(message, self.run_it("import", outside / source, status=1))
        for source in ("Pack", "pack.zip"):
            self.assertIn("usage: ", self.run_it("import", outside / source, "--bank", "B",
                                                 status=2))
        self.assertEqual(self.files(), before)

    def test_refusals_change_nothing(self):
        self.put("B/Pad.fxp", b"other")
        before = self.files()
        blocked = "File could not be moved. Please check there is no file"
        for arguments, message in (
                (["move", "A/Pad.fxp", "--bank", "B"], blocked),
                (["move", "A/Pad.fxp", "--bank", "Trash"], "Trash: this is a list"),
                (["move", "A/Pad.fxp", "--bank", "C"], "C: there is no such bank"),
                (["rename", "A/Pad.fxp", "../B/x"], "not allowed in the name of the patch"),
                (["rename", "A/Pad.fxp", "n" * 65], "The maximum patch name length is 64"),
                (["rename-bank", "A", "b"], "Soundbank already exists."),
                (["rename-bank", "A", "bass"], "Soundbank already exists."),
                (["rename-bank", "User", "Mine"], "User: this bank keeps its name"),
                (["rename-category", "Lead", "Solo"], "Lead: the instrument's own categories"),
                (["delete-bank", "A"], "Please remove all patches from this soundbank first.\n"
                                       "Patches found: 2"),
                (["delete-bank", "User"], "User: "),
                (["delete-category", "Lead"], "Patches found: 2"),
                (["delete-category", "Poly"], "Poly: there is no folder"),
                (["restore", "A/Pad.fxp"], "there is no such file in the trash"),
                (["purge", "A/Pad.fxp"], "there is no such file in the trash"),
                (["trash", "../Soundbanks/A/Pad.fxp"], "there is no such patch"),
                (["create-bank", "Lead"], "the folder could not be made"),
                (["create-bank", ""], "not allowed in the name of the bank")):
            self.assertIn(message, self.run_it(*arguments, status=1), arguments)
            self.assertEqual(self.files(), before, arguments)
        self.assertIn("Missing.fxp", self.run_it("trash", "A/Missing.fxp", "A/Pad.fxp", status=1))
        self.assertEqual(self.files() - before, {"A/Pad.bin"}, "the rest of a batch is done")

    def test_wrong_command_lines(self):
        for arguments in ([], ["frobnicate"], ["show"], ["move", "A/Pad.fxp"],
                          ["move", "A/Pad.fxp", "--bank", "B", "--category", "Lead"],
                          ["--root", "", "tree"], ["list", "--trash", "--favourites"],
                          ["list", "extra"], ["import"], ["breed", "A/Pad.fxp", "A/Pad.fxp"],
                          ["breed", "A/Pad.fxp", "User/Mine ZZ.fxp", "--store", "--mix", "nan"],
                          ["list", "--bank", "A", "--favourites"], ["favourite", "A/Pad.fxp"],
                          ["favourite", "A/Pad.fxp", "maybe"]):
            self.assertIn("usage: zephra-library", self.run_it(*arguments, status=2), arguments)

    def test_where_the_library_is(self):
        for variables, folder in (
                ({"ZEPHRA_DATA_ROOT": str(self.root.parent)}, self.root.parent),
                ({"XDG_DOCUMENTS_DIR": str(self.root.parent / "Docs")},
                 self.root.parent / "Docs/Quillon Audio/Zephra"),
                ({}, self.root.parent / "Papers/Quillon Audio/Zephra")):
            (folder / "Soundbanks/Here").mkdir(parents=True)
            config = self.root.parent / ".config"
            config.mkdir(exist_ok=True)
            (config / "user-dirs.dirs").write_text('#XDG_DOCUMENTS_DIR="/no"\n'
                                                   'XDG_DOCUMENTS_DIR="$HOME/Papers"\n')
            tree = subprocess.run([PROGRAM, "tree"], capture_output=True, text=True, check=True,
                                  env={"HOME": str(self.root.parent), **variables}).stdout
            self.assertIn("Here", tree, variables)
        for root in (self.root / "none", self.root / "A/Pad.fxp", self.root / "back\\slash"):
            (self.root / "back\\slash").mkdir(exist_ok=True)
            result = subprocess.run([PROGRAM, "--root", root, "tree"],
                                    capture_output=True, text=True, check=False)
            self.assertEqual(result.returncode, 1, root)
        self.assertFalse((self.root / "none").exists())


with tempfile.TemporaryDirectory() as scratch:
    made = Path(scratch) / "made.fxp"
    subprocess.run([RENDER, "--set", "filter_cutoff=0.25", "--save-patch", made, "--seconds", "0",
                    "--out", Path(scratch) / "out.wav", "--quiet"], check=True)
    PATCH = made.read_bytes()
    os.environ.pop("ZEPHRA_DATA_ROOT", None)
    unittest.main(verbosity=1)
