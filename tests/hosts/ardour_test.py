#!/usr/bin/env python3
# SPDX-License-Identifier: GPL-3.0-or-later
"""Ardour 7 with Zephra.so, without a window: load, play, automate, save, load again.

    ardour_test.py ZEPHRA.SO ZEPHRA-RENDER

A session is made through Ardour's Lua program, gets a MIDI region, and is exported twice, each
time by a fresh process. Parameters have to come back to the bit, and the exports have to be what
zephra-render makes of the same state, notes and automation, sample for sample. Status 77 where
there is no Ardour."""

import array
import base64
import os
import re
import shutil
import struct
import subprocess
import sys
import tempfile
from pathlib import Path

HERE = Path(__file__).resolve().parent
SCANNER = "/usr/lib/ardour7/ardour-vst-scanner"
RATE = 48000
TICKS = 1920  # of Ardour, per quarter; at 120 beats per minute a quarter has 24000 samples
CLOCKS = 282240000 // RATE  # of Ardour, per sample
END = 8 * RATE

# Start and end in ticks, key, velocity. The first seconds are silent: an instrument that has gone
# to sleep does not tell how long it has been asleep, so that what Ardour did before is no matter.
NOTES = [
    (8 * TICKS, 9 * TICKS, 48, 100),
    (8 * TICKS + 960, 11 * TICKS, 55, 64),
    (9 * TICKS + 7, 10 * TICKS + 131, 60, 127),
    (10 * TICKS + 1001, 13 * TICKS, 63, 90),
]
AUTOMATION = [(0, 0.8), (5 * RATE, 0.3), (6 * RATE, 0.55)]  # of the cutoff, as in make.lua


def run(*command, **options):
    done = subprocess.run([str(part) for part in command], stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, text=True, timeout=300, **options)
    if done.returncode:
        sys.exit(f"{command[0]} failed:\n{done.stdout}")
    return done.stdout


def midi_file(path):
    """A Standard MIDI File of format 0."""
    def variable(n):
        text = bytes([n & 127])
        while n := n >> 7:
            text = bytes([n & 127 | 128]) + text
        return text

    events = sorted([(on, 0x90, key, velocity) for on, _, key, velocity in NOTES]
                    + [(off, 0x80, key, 64) for _, off, key, _ in NOTES])
    track, now = b"", 0
    for tick, *message in events:
        track += variable(tick - now) + bytes(message)
        now = tick
    track += b"\0\xff\x2f\0"
    path.write_bytes(b"MThd" + struct.pack(">IHHH", 6, 0, 1, TICKS)
                     + b"MTrk" + struct.pack(">I", len(track)) + track)


def add_phrase(session):
    """Puts the phrase into the playlist of the track, as Ardour writes such a region."""
    midi_file(session.parent / "interchange" / session.parent.name / "midifiles" / "phrase.mid")
    length = END // 24000 * TICKS
    region = (
        '<Region name="phrase" muted="0" opaque="1" locked="0" automatic="0" whole-file="{whole}" '
        'import="0" external="0" sync-marked="0" left-of-split="0" right-of-split="0" hidden="0" '
        'position-locked="0" valid-transients="0" start="b0" length="b{length}@b0" '
        'sync-position="b0" ancestral-start="b0" ancestral-length="b{length}@b0" stretch="1" '
        'shift="1" layering-index="0" type="midi" first-edit="nothing" id="{id}" '
        'source-0="90001" master-source-0="90001" channels="1"/>')
    text = session.read_text()
    text = text.replace('<Sources/>', '<Sources><Source name="phrase.mid" take-id="" type="midi" '
                        'flags="Writable,CanRename" id="90001" natural-position="b0" '
                        'have-natural-position="1" origin=""/></Sources>')
    text = text.replace('<Regions/>', "<Regions>"
                        + region.format(whole=1, length=length, id=90002) + "</Regions>")
    text = text.replace('<Locations/>', '<Locations><Location id="90004" name="session" start="a0" '
                        f'end="a{END * CLOCKS}" flags="IsSessionRange" locked="0"/></Locations>')
    text = re.sub(r'(<Playlist [^>]*type="midi"[^>]*)/>',
                  r"\1>" + region.format(whole=0, length=length, id=90003) + "</Playlist>", text)
    session.write_text(text)


def program_file(session, path):
    """The state that Ardour has kept, as a patch."""
    chunk = base64.b64decode(re.search(r"<chunk[^>]*>([^<]*)<", session.read_text()).group(1))
    head = b"CcnK" + struct.pack(">I", len(chunk) + 52) + b"FPCh" + struct.pack(">I", 1) + b"ZPHR"
    path.write_bytes(head + struct.pack(">II28sI", 1, 75, b"", len(chunk)) + chunk)


def samples(path):
    """Of a WAV file of floats."""
    data = path.read_bytes()
    at = data.index(b"data")
    size = struct.unpack_from("<I", data, at + 4)[0]
    return array.array("f", data[at + 8:at + 8 + size])


def compare(ours, theirs):
    """A line on how far two recordings are apart, and whether they are the same."""
    frames = min(len(ours), len(theirs)) // 2
    peak = max(map(abs, ours))
    worst, first = 0.0, None
    for i, (a, b) in enumerate(zip(ours, theirs)):
        if a != b:
            first = i // 2 if first is None else first
            worst = max(worst, abs(a - b))
    return (f"{frames} frames, peak {peak:.4f}, largest difference {worst:.3g}"
            + (f", from frame {first}" if first is not None else "")), worst


def main():
    plugin, render = (Path(name).resolve() for name in sys.argv[1:3])
    if not (shutil.which("ardour7-lua") and shutil.which("ardour7-export")):
        sys.exit(77)
    with tempfile.TemporaryDirectory(prefix="zephra-ardour-") as temp:
        work = Path(temp)
        for variable, name in (("HOME", "home"), ("XDG_CACHE_HOME", "cache"),
                               ("XDG_CONFIG_HOME", "config"), ("ZEPHRA_SETTINGS_DIR", "settings"),
                               ("ZEPHRA_DATA_ROOT", "data")):
            (work / name).mkdir()
            os.environ[variable] = str(work / name)
        (work / "data" / "Soundbanks").mkdir()  # no factory patches, whatever is installed
        os.environ["LXVST_PATH"] = str(plugin.parent)
        os.environ["SESSION_FOLDER"] = str(work / "song")
        session = work / "song" / "song.ardour"

        run(SCANNER, "-f", plugin, env={**os.environ, "LD_LIBRARY_PATH": "/usr/lib/ardour7"})

        def values(script):
            return re.findall(r"^value\t?\s*(\d+)\s+(\S+)$",
                              run("ardour7-lua", HERE / "ardour" / script), re.MULTILINE)

        made = values("make.lua")
        assert len(made) == 75, f"{len(made)} parameters"
        add_phrase(session)

        def export(name):
            log = run("ardour7-export", "-b", "float", "-o", work / name, work / "song", "song")
            if os.environ.get("ZEPHRA_KEEP"):
                print(log)
                shutil.copytree(work, os.environ["ZEPHRA_KEEP"], dirs_exist_ok=True)
            return samples(work / name)

        first = export("first.wav")
        again = values("read.lua")
        differ = [(a, b) for a, b in zip(made, again) if a != b]
        assert not differ and len(again) == 75, f"values after loading: {differ}"
        print("parameters: all 75 the same to the bit in a fresh process")
        second = export("second.wav")
        text, worst = compare(first, second)
        print("export and export of a fresh process:", text)
        assert worst == 0.0

        program_file(session, work / "state.fxp")
        options = [f"--note={key},{velocity},{on / TICKS / 2:.9f},{off / TICKS / 2:.9f}"
                   for on, off, key, velocity in NOTES]
        options += [f"--auto=filter_cutoff={value}@{sample / RATE}" for sample, value in AUTOMATION]
        run(render, "--patch", work / "state.fxp", *options, "--rate", RATE, "--block", 64,
            "--seconds", END / RATE, "--out", work / "own.wav", "--quiet")
        text, worst = compare(samples(work / "own.wav"), first)
        print("zephra-render and Ardour:", text)
        keep = os.environ.get("ZEPHRA_KEEP")
        if keep:
            shutil.copytree(work, keep, dirs_exist_ok=True)
        assert worst == 0.0


main()
