#!/usr/bin/env python3
# SPDX-License-Identifier: GPL-3.0-or-later
"""What the plug-in scanners of Ardour, MusE and Qtractor find in Zephra.so.

    scanners_test.py ZEPHRA.SO

None of them may leave anything in the folders of the user, nor even have them made. Scanners that
are not installed are left out; status 77 if all are."""

import os
import re
import subprocess
import sys
import tempfile
from pathlib import Path

ARDOUR = Path("/usr/lib/ardour7/ardour-vst-scanner")
MUSE = Path("/usr/bin/muse_plugin_scan")
QTRACTOR = Path("/usr/lib/x86_64-linux-gnu/qtractor/qtractor_plugin_scan")


def run(*command, **options):
    done = subprocess.run([str(part) for part in command], stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, text=True, timeout=60, **options)
    assert done.returncode == 0, f"{command[0]} ended with {done.returncode}:\n{done.stdout}"
    return done.stdout


def ardour(plugin, work):
    run(ARDOUR, "-f", plugin, env={**os.environ, "LD_LIBRARY_PATH": "/usr/lib/ardour7"})
    cache, = (work / "cache").rglob("*.v2i")
    return cache.read_text(), [
        'id="1515210834"', 'name="The Zephra"', 'creator="Quillon Audio"', 'category="Instrument"',
        'n_inputs="0"', 'n_outputs="2"', 'n_midi_inputs="1"', 'is_instrument="1"',
        'can_process_replace="1"', 'has_editor="0"']


def muse(plugin, work):
    found = work / "muse.xml"  # has to be there
    found.touch()
    run(MUSE, "-t", 255, "-f", plugin, "-o", found, "-p")
    text = found.read_text()
    assert len(re.findall(r"<port ", text)) == 77, "75 parameters and two outputs"
    return text, ["<name>The Zephra</name>", "<maker>Quillon Audio</maker>",
                  "<uniqueID>1515210834</uniqueID>", "<outports>2</outports>",
                  "<ctlInports>75</ctlInports>", '<port name="Filter Cutoff"']


def qtractor(plugin, _):
    return run(QTRACTOR, input=f"VST:{plugin}\n"), [
        "VST|The Zephra|0:2|1:0|75:0|", "|0x5a504852"]


def main():
    plugin = Path(sys.argv[1]).resolve()
    scanned = 0
    for program, scan in (ARDOUR, ardour), (MUSE, muse), (QTRACTOR, qtractor):
        if not program.exists():
            print(f"{scan.__name__}: not installed")
            continue
        with tempfile.TemporaryDirectory(prefix="zephra-scan-") as temp:
            work = Path(temp)
            for variable, name in (("HOME", "home"), ("XDG_CACHE_HOME", "cache"),
                                   ("XDG_CONFIG_HOME", "config")):
                (work / name).mkdir()
                os.environ[variable] = str(work / name)
            os.environ["ZEPHRA_DATA_ROOT"] = str(work / "data")
            os.environ["ZEPHRA_SETTINGS_DIR"] = str(work / "settings")
            os.environ["QT_QPA_PLATFORM"] = "offscreen"
            text, wanted = scan(plugin, work)
            for part in wanted:
                assert part in text, f"{scan.__name__} does not tell {part}:\n{text}"
            made = [name for name in ("data", "settings") if (work / name).exists()]
            assert not made, f"{scan.__name__} has the plug-in make {made}"
            print(f"{scan.__name__}: {len(wanted)} facts as they should be, no folder made")
            scanned += 1
    sys.exit(0 if scanned else 77)


main()
