#!/usr/bin/python3
# SPDX-License-Identifier: GPL-3.0-or-later
"""Ardour 7 with Zephra.so or Zephra.lv2, without a window: load, play, automate, save, load again,
remove.

    in_ardour.py ZEPHRA.SO|ZEPHRA.LV2 ZEPHRA_RENDER

A session is made through Ardour's Lua program, gets a MIDI region, and is exported twice, each
time by a fresh process. Parameters have to come back to the bit, and the exports have to be what
zephra-render makes of the same state, notes and automation: of VST2 sample for sample, of LV2
octave by octave, as Ardour activates that anew, and free oscillators and the mains hum then stand
elsewhere."""

import base64
import os
import re
import struct
import sys
import tempfile
from pathlib import Path

import rig

SCANNER = "/usr/lib/ardour7/ardour-vst-scanner"
SCRIPTS = Path(__file__).resolve().parent / "ardour"
RATE = rig.RATE
TICKS = 1920  # of Ardour, per quarter; at 120 beats per minute a quarter has 24000 samples
CLOCKS = 282240000 // RATE  # of Ardour, per sample
BLOCK = 1024  # of the dummy backend
ASLEEP = 48 * BLOCK  # ahead of the export: as in Ardour the instrument is asleep then
END = 8 * RATE

# Start and end in ticks, key, velocity. The first seconds are silent: an instrument that has gone
# to sleep does not tell how long it has been asleep, so that what Ardour did before is no matter.
# Even ticks stand on whole samples.
NOTES = [
    (8 * TICKS, 9 * TICKS, 48, 100),
    (8 * TICKS + 960, 11 * TICKS, 55, 64),
    (9 * TICKS + 6, 10 * TICKS + 130, 60, 127),
    (10 * TICKS + 1002, 13 * TICKS, 63, 90),
]
AUTOMATION = [(0, 0.8), (5 * RATE, 0.3), (6 * RATE, 0.55)]  # of the cutoff, as in make.lua


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
    """The state that Ardour has kept, as a patch: of VST2 in the session, of LV2 beside it."""
    states = session.parent.glob("plugins/*/state*/state.ttl")
    kept = "".join(file.read_text() for file in (session, *states))
    chunk = base64.b64decode(
        re.search(r'(?:<chunk[^>]*>|zephra:patch> "+)([^<"]+)', kept).group(1))
    head = b"CcnK" + struct.pack(">I", len(chunk) + 52) + b"FPCh" + struct.pack(">I", 1) + b"ZPHR"
    path.write_bytes(head + struct.pack(">II28sI", 1, 75, b"", len(chunk)) + chunk)


def own(work, render, shift, seconds):
    """What zephra-render makes of it with Ardour's blocks: the first sample of the export stands
    `shift` into one of them, and automation acts from the next block on."""
    begin = ASLEEP + shift

    def time(sample):
        return f"{(begin + sample) / RATE:.9f}"

    options = [f"--note={key},{velocity},{time(on * 24000 // TICKS)},{time(off * 24000 // TICKS)}"
               for on, off, key, velocity in NOTES]
    for sample, value in AUTOMATION:
        late = -(begin + sample) % BLOCK if sample else -begin
        options.append(f"--auto=filter_cutoff={value}@{time(sample + late)}")
    return rig.rendered(render, work, "--patch", work / "state.fxp", *options, "--seconds",
                        f"{seconds + begin / RATE:.9f}", block=BLOCK)[2 * begin:]


def compare(work, render, name):
    """Whether an export is what zephra-render makes, in the one way that Ardour's blocks may have
    stood; where in a block an export begins differs from run to run."""
    export = rig.wav_samples((work / name).read_bytes())
    assert len(export) == 2 * END and max(map(abs, export)) > 0.1, "the export is silent"
    first = 2 * NOTES[0][0] * 24000 // TICKS
    if os.environ["PLUGIN_TYPE"] == "LV2":
        rendered = own(work, render, 0, END / RATE)
        for at in range(first, len(export), 2 * RATE):
            stretch = slice(at, at + 2 * RATE)
            rig.assert_alike(f"{name}, second {at // 2 // RATE}", export[stretch],
                             rendered[stretch], 0.5)
        return
    for shift in range(BLOCK - 16, -1, -16):
        if own(work, render, shift, 4.05)[first:first + 2000] == export[first:first + 2000]:
            break
    else:
        sys.exit(f"{name}: no place of the blocks gives what zephra-render gives")
    rig.assert_equal(name, export, own(work, render, shift, END / RATE))


def main(work):
    plugin, render = (Path(name).resolve() for name in sys.argv[1:3])
    rig.make_home(work)
    (work / "data/Soundbanks").mkdir(parents=True)  # no factory patches, whatever is installed
    os.environ["SESSION_FOLDER"] = str(work / "song")
    if plugin.is_dir():
        os.environ.update(LV2_PATH=f"{plugin.parent}:/usr/lib/lv2", PLUGIN_TYPE="LV2",
                          FIRST_CONTROL="1")  # ahead of which Ardour counts the latency
    else:
        os.environ.update(LXVST_PATH=str(plugin.parent), PLUGIN_TYPE="LXVST", FIRST_CONTROL="0")
        rig.run(SCANNER, "-f", plugin, env={**os.environ, "LD_LIBRARY_PATH": "/usr/lib/ardour7"})
    session = work / "song" / "song.ardour"

    def values(script):
        return re.findall(r"^value\s+(\d+)\s+(\S+)$", rig.run("ardour7-lua", SCRIPTS / script),
                          re.MULTILINE)

    def export(name):
        rig.run("ardour7-export", "-b", "float", "-o", work / name, work / "song", "song")

    made = values("make.lua")
    assert len(made) == 75, f"{len(made)} parameters"
    add_phrase(session)
    program_file(session, work / "state.fxp")
    export("first.wav")
    loaded = values("read.lua")
    assert loaded == made, "saved and loaded again: " + str(set(loaded) ^ set(made))
    export("second.wav")
    for name in "first.wav", "second.wav":
        compare(work, render, name)


rig.needs("ardour7-lua", "ardour7-export")
with tempfile.TemporaryDirectory(prefix="zephra-ardour-") as place:
    main(Path(place))
