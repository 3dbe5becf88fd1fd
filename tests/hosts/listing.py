#!/usr/bin/python3
# SPDX-License-Identifier: GPL-3.0-or-later
"""What programs find that list plug-ins: the scanners of Ardour, MusE and Qtractor in Zephra.so, the
validators and lilv in Zephra.lv2, which ffmpeg also plays: it offers neither worker nor options.

    listing.py ZEPHRA.SO ZEPHRA.LV2

None of them may make folders in the user's home. What is not installed is left out; status 77 if all
of it is."""

import os
import shutil
import sys
import tempfile
from pathlib import Path

import rig

VST2, BUNDLE = (Path(name).resolve() for name in sys.argv[1:3])
URI = "urn:quillon-audio:zephra"


def ardour(scanner, work):
    rig.run(scanner, "-f", VST2, env={**os.environ, "LD_LIBRARY_PATH": "/usr/lib/ardour7"})
    cache, = (work / "cache").rglob("*.v2i")
    return cache.read_text()


def muse(scanner, work):
    found = work / "muse.xml"  # has to be there
    found.touch()
    rig.run(scanner, "-t", 255, "-f", VST2, "-o", found, "-p")
    text = found.read_text()
    return text + f"{text.count('<port ')} ports"


def qtractor(scanner, _):
    return rig.run(scanner, input=f"VST:{VST2}\n")


def validate(program, _):
    return rig.run(program, *BUNDLE.rglob("*.ttl"))


def lilv(program, _):
    text = rig.run(program, URI)
    return text + f"{text.count('Symbol:')} ports"


def ffmpeg(program, work):
    out = work / "out.wav"
    rig.run(program, "-loglevel", "error", "-f", "lavfi", "-i", "lv2=plugin=" +
            URI.replace(":", r"\\:") + ":controls=filter_cutoff=300|fx_active=1:duration=1",
            "-c:a", "pcm_f32le", out)
    sound = rig.wav_samples(out.read_bytes())
    return f"{len(sound) > 80000}: a second, of peak {rig.peak(sound):.6f}"


LISTS = [
    (ardour, "/usr/lib/ardour7/ardour-vst-scanner", [
        'id="1515210834"', 'name="The Zephra"', 'creator="Quillon Audio"', 'category="Instrument"',
        'n_inputs="0"', 'n_outputs="2"', 'n_midi_inputs="1"', 'is_instrument="1"',
        'can_process_replace="1"', 'has_editor="0"']),
    (muse, "muse_plugin_scan", [
        "<name>The Zephra</name>", "<maker>Quillon Audio</maker>", "<ctlInports>75</ctlInports>",
        '<port name="Filter Cutoff"', "77 ports"]),
    (qtractor, "/usr/lib/x86_64-linux-gnu/qtractor/qtractor_plugin_scan",
     ["VST|The Zephra|0:2|1:0|75:0|", "|0x5a504852"]),
    (validate, "lv2_validate", ["Found 0 errors"]),
    (lilv, "lv2info", ["Instrument Plugin", "Bass Carpet QX", "80 ports"]),
    (ffmpeg, "ffmpeg", ["True: a second, of peak 0.000000"]),
]


def main():
    listed = 0
    os.environ.update(QT_QPA_PLATFORM="offscreen", LV2_PATH=f"{BUNDLE.parent}:/usr/lib/lv2")
    for look, program, wanted in LISTS:
        if not shutil.which(program):
            print(f"{look.__name__}: not installed")
            continue
        with tempfile.TemporaryDirectory(prefix="zephra-listing-") as place:
            work = Path(place)
            rig.make_home(work)
            text = look(program, work)
            missing = [part for part in wanted if part not in text]
            assert not missing, f"{look.__name__} does not tell {missing}:\n{text}"
            assert "warning" not in text, f"{look.__name__} complains:\n{text}"
            made = [name for name in ("data", "settings") if (work / name).exists()]
            assert not made or look is ffmpeg, f"{look.__name__} has the plug-in make {made}"
        listed += 1
    sys.exit(0 if listed else 77)


main()
