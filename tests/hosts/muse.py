#!/usr/bin/python3
# SPDX-License-Identifier: GPL-3.0-or-later
"""Zephra.lv2 or Zephra.so in MusE, on a screen that nobody sees and a JACK server without a sound
card: muse.py ZEPHRA.SO|ZEPHRA.LV2 ZEPHRA_RENDER SOUNDBANKS

MusE loads a song, plays it by the transport of JACK and saves it. A fresh one loads that with an
automated cutoff, plays it and drops the plug-in with the song. What sounds is compared with
zephra-render, octave by octave. The system's own Python, since python3-jack-client is one of its
packages. Status 77 where a program is missing."""

import os
import re
import shutil
import subprocess
import sys
import tempfile
from contextlib import closing
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent / "standalone"))
import jack_rig as rig  # pylint: disable=wrong-import-position

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
        self.server.start(patient=True)
        self.program = subprocess.Popen(["muse", "-J", "-j", "-l", "en", file],
                                        stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.studio = rig.Studio(keyboard=None, program="MusE:Out")
        self.screen = screen
        screen.press("Instrument initialization", "key", "Return")
        self.studio.connect()

    def play(self):
        self.studio.client.transport_locate(0)
        self.studio.record(1)
        before = len(self.studio.sound())
        self.studio.client.transport_start()
        self.studio.record(SECONDS)
        self.studio.client.transport_stop()
        return rig.from_first_sound(self.studio.sound()[before:])

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
    out = folder / "render.wav"
    notes = [f"--note={key},{velocity},{at / TICKS},{(at + length) / TICKS}"
             for at, length, key, velocity in NOTES]
    library = folder / "data" / "Soundbanks"
    subprocess.run([RENDER, "--library", library, "--patch",
                    library / "Showcase" / "Bass Carpet QX.fxp", *notes, *options, "--rate",
                    str(rig.RATE), "--block", str(rig.BLOCK), "--seconds", str(SECONDS), "--quiet",
                    "--out", out], check=True)
    return rig.from_first_sound(rig.wav_samples(out.read_bytes()))


def compare(what, played, render):
    apart = rig.octaves_apart(what, played, render)
    assert apart < 1.0, f"{apart} dB"


def main():
    os.environ.update(LV2_PATH=f"{PLUGIN.parent}:/usr/lib/lv2", LXVST_PATH=str(PLUGIN.parent),
                      LADSPA_PATH="/none", DSSI_PATH="/none")
    with tempfile.TemporaryDirectory(prefix="zephra-muse-") as place:
        folder = Path(place)
        for variable, name in (("HOME", "home"), ("XDG_CACHE_HOME", "cache"),
                               ("XDG_CONFIG_HOME", "config"), ("XDG_RUNTIME_DIR", "run"),
                               ("ZEPHRA_DATA_ROOT", "data"), ("ZEPHRA_SETTINGS_DIR", "settings")):
            (folder / name).mkdir(mode=0o700)
            os.environ[variable] = str(folder / name)
        shutil.copytree(BANKS, folder / "data" / "Soundbanks")
        file = folder / "song.med"
        song(folder)
        with closing(rig.Screen()) as screen:
            with closing(MusE(file, screen)) as muse:
                compare("played", muse.play(), rendered(folder))
                muse.save(file)
            automate(file)
            points = [f"--auto=filter_cutoff={value}@{at / rig.RATE}"
                      for at, value in ((0, 0.353), (STEP, 0.951))]
            with closing(MusE(file, screen)) as muse:
                compare("loaded and automated", muse.play(), rendered(folder, *points))
                muse.drop_song()


if __name__ == "__main__":
    rig.skip_unless_complete()
    if not all(map(shutil.which, ("muse", *rig.Screen.PROGRAMS))) or not TEMPLATE.exists():
        print("not here: MusE, Xvfb or xdotool")
        sys.exit(rig.SKIPPED)
    main()
