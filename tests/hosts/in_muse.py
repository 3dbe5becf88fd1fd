#!/usr/bin/python3
# SPDX-License-Identifier: GPL-3.0-or-later
"""Zephra.lv2 or Zephra.so in MusE, on a screen that nobody sees and a JACK server without a sound
card: in_muse.py ZEPHRA.SO|ZEPHRA.LV2 ZEPHRA_RENDER BANKS

MusE loads a song, plays it by the transport of JACK and saves it. A fresh one loads that with an
automated cutoff, plays it and drops the plug-in with the song. What sounds is compared with
zephra-render, octave by octave."""

import os
import re
import subprocess
import sys
import tempfile
from contextlib import closing
from pathlib import Path

import rig

PLUGIN, RENDER, BANKS = (Path(name).resolve() for name in sys.argv[1:4])
TEMPLATE = Path("/usr/share/muse/templates/default.med")
IS_LV2 = PLUGIN.is_dir()
NOTES = [(3072, 384, 48, 100), (3264, 768, 55, 64), (3456, 384, 60, 127), (3840, 768, 63, 90)]
TICKS = 768  # a second, at the 120 beats per minute of the template
SECONDS = 7
STEP = 216000  # sample at which the cutoff opens
CUTOFF = 9 * 4096 + 34  # MusE's number of the parameter


def song(folder):
    if IS_LV2:
        which = ("<synthType>LV2 (synths)</synthType><class>zephra</class>"
                 "<uri>urn:quillon-audio:zephra</uri>")
    else:
        which = "<synthType>VST (synths)</synthType><class>Zephra</class>"
    events = "".join(f'<event tick="{at}" len="{length}" a="{key}" b="{velocity}" />'
                     for at, length, key, velocity in NOTES)
    tracks = (f"<SynthI><name>Zephra</name><channels>2</channels>{which}<label>The Zephra</label>"
              "<openFlags>1</openFlags><port>0</port></SynthI><miditrack><name>Keys</name>"
              '<device>0</device><channel>0</channel><part><name>Phrase</name><poslen tick="0" '
              f'len="6144" />{events}</part></miditrack><AudioOutput>')
    route = '<Route><source type="0" name="Zephra"/><dest type="0" name="Out 1"/></Route><Route '
    text = TEMPLATE.read_text().replace("<AudioOutput>", tracks).replace("<Route ", route, 1)
    (folder / "song.med").write_text(text.replace("<sampleRate>44100", "<sampleRate>48000"))


def automate(file):
    low, high = (300, 20000) if IS_LV2 else (0.353, 0.951)  # Hz, and the same as knob positions
    points = f"0 {low}, {STEP} {low}, {STEP + 1} {high}, {SECONDS * rig.RATE} {high}, "
    before, synth = file.read_text().split("<SynthI>")
    synth = re.sub(rf'(<controller id="{CUTOFF}"[^>]*>)', r"\g<1>" + points, synth)
    synth = synth.replace("<automation>0<", "<automation>1<", 1)
    file.write_text(before + "<SynthI>" + synth)


class MusE:
    def __init__(self, file, screen):
        self.server = rig.Server()
        self.program = subprocess.Popen(["muse", "-J", "-j", "-l", "en", file],
                                        stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.studio = rig.Studio(keyboard=None, program="MusE:Out")
        self.screen = screen
        screen.press("Instrument initialization", "key", "Return")
        self.studio.connect()

    def play(self):
        self.studio.client.transport_locate(0)
        self.studio.record(1)
        before = len(self.studio.blocks)
        self.studio.client.transport_start()
        self.studio.record(SECONDS)
        self.studio.client.transport_stop()
        return rig.from_first_sound(self.studio.sound(before))

    def save(self, file):
        saved = file.stat().st_mtime
        self.screen.press("MusE Project", "key", "ctrl+s")
        rig.wait_for(lambda: file.stat().st_mtime != saved, "the song")

    def drop_song(self):
        self.screen.press("MusE Project", "key", "ctrl+n")
        maps = Path(f"/proc/{self.program.pid}/maps")
        rig.wait_for(lambda: str(PLUGIN) not in maps.read_text(), "the plug-in to go")
        assert self.program.poll() is None

    def close(self):
        self.studio.close()
        self.program.kill()
        self.program.wait()
        self.server.stop()


def rendered(folder, *options):
    notes = [f"--note={key},{velocity},{at / TICKS},{(at + length) / TICKS}"
             for at, length, key, velocity in NOTES]
    patch = folder / "data/Soundbanks/Showcase/Bass Carpet QX.fxp"
    return rig.from_first_sound(rig.rendered(RENDER, folder, "--patch", patch, *notes, *options,
                                             "--seconds", SECONDS))


def main(folder):
    rig.make_home(folder, BANKS)
    os.environ.update(LV2_PATH=f"{PLUGIN.parent}:/usr/lib/lv2", LXVST_PATH=str(PLUGIN.parent),
                      LADSPA_PATH="/none", DSSI_PATH="/none")
    file = folder / "song.med"
    song(folder)
    with closing(rig.Screen()) as screen:
        with closing(MusE(file, screen)) as muse:
            rig.assert_alike("played", muse.play(), rendered(folder))
            muse.save(file)
        automate(file)
        points = [f"--auto=filter_cutoff={value}@{at / rig.RATE}"
                  for at, value in ((0, 0.353), (STEP, 0.951))]
        with closing(MusE(file, screen)) as muse:
            rig.assert_alike("loaded and automated", muse.play(), rendered(folder, *points))
            muse.drop_song()


rig.needs("jack", "jackd", "muse", "Xvfb", "xdotool")
with tempfile.TemporaryDirectory(prefix="zephra-muse-") as place:
    main(Path(place))
