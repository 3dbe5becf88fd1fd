#!/usr/bin/python3
# SPDX-License-Identifier: GPL-3.0-or-later
"""Zephra.lv2 in jalv, on a JACK server without a sound card: lv2_jalv.py BUNDLE ZEPHRA_RENDER SOUNDBANKS

What jalv plays is recorded and compared with zephra-render. The system's own Python, since
python3-jack-client is one of its packages. Status 77 where a program is missing."""

import math
import os
import shutil
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent / "standalone"))
import jack_rig as rig  # pylint: disable=wrong-import-position

BUNDLE, RENDER, BANKS = (Path(name).resolve() for name in sys.argv[1:4])
URI = "urn:quillon-audio:zephra"
FIRST = "Showcase/Bass Carpet QX"
OTHER = "Essentials/Bass/Bee Line QE"

# Samples from the first note's block on; what jalv gets, and the same for zephra-render.
NOTES = [(37, 20000, 40, 100), (9000, 30000, 47, 64), (30001, 52001, 52, 127)]  # on, off, key, velocity
WHEEL = [(15000, 100), (40000, 31)]  # sample, value
LENGTH = 80000
LEAD_IN = 375 * rig.BLOCK  # jalv has also been idle, and the instrument asleep, for a while
CUTOFF_3000 = f"--auto=filter_cutoff={math.log(3000 / 25) / math.log(2.02) / 10:.9f}@1"  # in Hz


def seconds(sample):
    return f"{sample / rig.RATE:.9f}"


class InJalv(unittest.TestCase):
    def setUp(self):
        self.server = rig.Server()
        self.server.start(patient=True)
        self.addCleanup(self.server.stop)
        place = tempfile.TemporaryDirectory()
        self.addCleanup(place.cleanup)
        self.folder = Path(place.name)
        self.library = self.folder / "data" / "Soundbanks"
        shutil.copytree(BANKS, self.library)
        os.environ["ZEPHRA_DATA_ROOT"] = str(self.folder / "data")
        os.environ["ZEPHRA_SETTINGS_DIR"] = str(self.folder / "settings")
        os.environ["LV2_PATH"] = f"{BUNDLE.parent}:/usr/lib/lv2"
        self.jalv = None

    def tearDown(self):
        if self.jalv:
            self.end()

    def end(self):
        self.studio.close()
        self.jalv.kill()  # jalv.gtk3 takes no other signal
        self.jalv.communicate()

    def start(self, *options, program=("jalv", "-n")):
        """jalv with the plug-in, connected to a keyboard and a recorder."""
        self.studio = rig.Studio()
        for _ in range(5):  # on a busy machine the server may not answer it in time
            self.jalv = subprocess.Popen([*program, "Zephra", "-x", *map(str, options), URI],
                                         stdin=subprocess.PIPE, stdout=subprocess.DEVNULL,
                                         stderr=subprocess.DEVNULL, text=True)
            rig.wait_for(lambda: self.jalv.poll() is not None or len(self.studio.outputs()) == 2,
                         "jalv")
            if self.jalv.poll() is None:
                break
        self.studio.connect()
        self.studio.client.connect(self.studio.keys, "Zephra:events_in")
        self.studio.record(1)  # until the instrument is asleep

    def say(self, command):
        self.jalv.stdin.write(command + "\n")
        self.jalv.stdin.flush()
        self.studio.record(0.5)

    def save(self):
        """A folder with a state, from the window of jalv.gtk3: File, Save, without a mouse."""
        def xdotool(*words):
            return subprocess.run(["xdotool", *words], check=True, capture_output=True, text=True,
                                  timeout=30).stdout.split()

        def focus(window):
            found = xdotool("search", "--sync", "--onlyvisible", "--name", window)
            xdotool("windowfocus", "--sync", found[-1], "sleep", "1")

        folder = self.folder / "saved"
        focus("The Zephra")
        xdotool("key", "ctrl+s")
        focus("Save State")
        xdotool("type", str(folder))
        xdotool("sleep", "1", "key", "Return")
        rig.wait_for((folder / "state.ttl").exists, "the state")
        self.studio.record(0.5)
        return folder

    def open_screen(self):
        reading, writing = os.pipe()
        screen = subprocess.Popen(["Xvfb", "-displayfd", str(writing)], pass_fds=[writing],
                                  stderr=subprocess.DEVNULL)
        self.addCleanup(screen.wait)
        self.addCleanup(screen.terminate)
        os.close(writing)
        with open(reading, encoding="ascii") as number:
            os.environ["DISPLAY"] = ":" + number.readline().strip()

    def phrase(self):
        """Plays it and returns the recording from the first sound on."""
        events = sorted(
            [(on, bytes((0x90, key, velocity))) for on, _, key, velocity in NOTES]
            + [(off, bytes((0x80, key, 0))) for _, off, key, _ in NOTES]
            + [(at, bytes((0xb0, 1, value))) for at, value in WHEEL])
        before = len(self.studio.sound())
        for start in range(0, LENGTH, rig.BLOCK):
            self.studio.to_play.put([(at - start, message) for at, message in events
                                     if start <= at < start + rig.BLOCK])
        self.studio.record(LENGTH / rig.RATE + 0.5)
        return rig.from_first_sound(self.studio.sound()[before:])

    def rendered(self, place, *options):
        out = self.folder / "render.wav"
        notes = [f"--note={key},{velocity},{seconds(LEAD_IN + on)},{seconds(LEAD_IN + off)}"
                 for on, off, key, velocity in NOTES]
        wheel = [f"--cc=1,{value},{seconds(LEAD_IN + at)}" for at, value in WHEEL]
        subprocess.run([RENDER, "--library", self.library, "--patch",
                        self.library / (place + ".fxp"), *notes, *wheel, *options, "--rate",
                        str(rig.RATE), "--block", str(rig.BLOCK), "--seconds",
                        seconds(LEAD_IN + LENGTH), "--quiet", "--out", out], check=True)
        return rig.from_first_sound(rig.wav_samples(out.read_bytes()))

    def compare(self, played, rendered):
        count = min(len(played), len(rendered))
        self.assertGreater(count, 100000)
        self.assertGreater(rig.peak(rendered), 0.02)
        worst = max(abs(a - b) for a, b in zip(played, rendered))
        print(f"{self.id()}: {count // 2} frames, peak {rig.peak(rendered):.4f}, "
              f"largest difference {worst:.3g}")
        self.assertEqual(worst, 0.0)

    def compare_spectrum(self, played, rendered):
        """Octave by octave, as far as another start of the oscillators lets them be alike."""
        both = list(zip(rig.octaves(played), rig.octaves(rendered)))
        print(f"{self.id()}: octaves, played and rendered:",
              *(f"{a:.1f}/{b:.1f}" for a, b in both), "dB")
        self.assertLess(sum(abs(a - b) for a, b in both) / len(both), 2.0)

    def start_dry(self, *options):
        """The first patch without effects, which would run on before the first note. They fade for
        two thirds of a second."""
        self.start(*options)
        self.say("set fx_active 0")
        self.studio.record(1)

    def test_plays_sample_for_sample(self):
        self.start_dry()
        self.compare(self.phrase(), self.rendered(FIRST, "--set=fx_active=0"))

    def test_a_moved_port_is_heard(self):
        self.start_dry()
        self.say("set filter_cutoff 3000")
        self.compare(self.phrase(), self.rendered(FIRST, "--set=fx_active=0", CUTOFF_3000))

    def test_loads_a_preset(self):
        self.start()
        self.say("presets")  # reads them: without it, jalv only knows their names
        self.say(f"preset {URI}:preset:{OTHER.replace(' ', '_')}")
        self.compare_spectrum(self.phrase(), self.rendered(OTHER))

    @unittest.skipUnless(all(map(shutil.which, ("jalv.gtk3", "Xvfb", "xdotool"))),
                         "needs jalv.gtk3, Xvfb and xdotool")
    def test_a_saved_state_sounds_the_same_in_a_fresh_process(self):
        self.open_screen()
        self.start("-c", "filter_cutoff=3000", program=("jalv.gtk3", "--jack-name"))
        folder = self.save()
        self.end()
        self.start("-l", folder)
        self.compare_spectrum(self.phrase(), self.rendered(FIRST, CUTOFF_3000))

    def test_program_changes_are_served_by_the_worker(self):
        self.start()
        self.studio.play((0xb0, 32, 0))  # bank by number: the first one is empty
        self.studio.play((0xb0, 32, 2), (0xc0, 2, 0))
        self.studio.record(1)
        listed = subprocess.run([RENDER, "--list-patches", self.library], check=True,
                                capture_output=True, text=True).stdout.splitlines()
        bank = [line.split("\t") for line in listed if line.startswith("Essentials\t")]
        place = str(Path(bank[2][-1]).relative_to(self.library).with_suffix(""))
        self.compare_spectrum(self.phrase(), self.rendered(place))


if __name__ == "__main__":
    rig.skip_unless_complete()
    if not shutil.which("jalv"):
        print("not here: jalv")
        sys.exit(rig.SKIPPED)
    unittest.main(argv=sys.argv[:1] + sys.argv[4:], verbosity=2)
