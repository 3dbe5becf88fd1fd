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
LEAD_IN = 375 * rig.BLOCK  # before the render: jalv has also been idle for a while


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
            self.studio.close()
            self.jalv.terminate()
            self.jalv.communicate()

    def start(self, *options):
        """jalv with the plug-in, connected to a keyboard and a recorder."""
        self.studio = rig.Studio()
        for _ in range(5):  # on a busy machine the server may not answer it in time
            self.jalv = subprocess.Popen(["jalv", "-x", "-n", "Zephra", *map(str, options), URI],
                                         stdin=subprocess.PIPE, stdout=subprocess.DEVNULL,
                                         stderr=subprocess.DEVNULL, text=True)
            rig.wait_for(lambda: self.jalv.poll() is not None or len(self.studio.outputs()) == 2,
                         "jalv")
            if self.jalv.poll() is None:
                break
        self.studio.connect()
        self.studio.client.connect(self.studio.keys, "Zephra:events_in")

    def say(self, command):
        self.jalv.stdin.write(command + "\n")
        self.jalv.stdin.flush()
        self.studio.record(0.5)

    def saved(self, place):
        """A folder with a state as jalv saves it."""
        folder = self.folder / "saved"
        folder.mkdir()
        name = place.replace(" ", "_")
        preset = (BUNDLE / "presets" / (name + ".ttl")).read_text()
        (folder / "state.ttl").write_text(preset.replace(f"<{URI}:preset:{name}>", "<>"))
        return folder

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

    def compare(self, played, rendered, tolerance):
        count = min(len(played), len(rendered))
        self.assertGreater(count, 100000)
        self.assertGreater(rig.peak(rendered), 0.02)
        worst = max(abs(a - b) for a, b in zip(played, rendered))
        print(f"{self.id()}: {count // 2} frames, peak {rig.peak(rendered):.4f}, "
              f"largest difference {worst:.3g}")
        self.assertLessEqual(worst, tolerance)

    def compare_level(self, played, rendered):
        """As far as another start of the oscillators lets them be alike."""
        def decibels(sound):
            return 10 * math.log10(sum(x * x for x in sound[:100000]) / 100000)
        print(f"{self.id()}: {decibels(played):.2f} dB, rendered {decibels(rendered):.2f} dB")
        self.assertAlmostEqual(decibels(played), decibels(rendered), delta=1.5)

    def start_dry(self, *options):
        """The first patch without effects, which would run on before the first note."""
        self.start(*options)
        self.say("set fx_active 0")

    def test_plays_sample_for_sample(self):
        self.start_dry()
        played, rendered = self.phrase(), self.rendered(FIRST, "--set=fx_active=0")
        self.compare(played, rendered, 1e-4)
        settled = 2 * 10000  # samples; up to there the level is apart by one part in ten thousand
        self.compare(played[settled:], rendered[settled:], 0.0)

    def test_a_moved_port_is_heard(self):
        self.start_dry()
        self.say("set filter_cutoff 3000")
        cutoff = math.log(3000 / 25) / math.log(2.02) / 10
        self.compare(self.phrase(), self.rendered(FIRST, "--set=fx_active=0",
                                                  f"--set=filter_cutoff={cutoff:.9f}"), 1e-3)

    def test_loads_a_saved_state(self):
        self.start("-l", self.saved(OTHER))
        self.compare_level(self.phrase(), self.rendered(OTHER))

    def test_program_changes_are_served_by_the_worker(self):
        self.start()
        self.studio.play((0xb0, 32, 0))  # bank by number: the first one is empty
        self.studio.play((0xb0, 32, 2), (0xc0, 2, 0))
        self.studio.record(1)
        listed = subprocess.run([RENDER, "--list-patches", self.library], check=True,
                                capture_output=True, text=True).stdout.splitlines()
        bank = [line.split("\t") for line in listed if line.startswith("Essentials\t")]
        place = str(Path(bank[2][-1]).relative_to(self.library).with_suffix(""))
        self.compare_level(self.phrase(), self.rendered(place))


if __name__ == "__main__":
    rig.skip_unless_complete()
    if not shutil.which("jalv"):
        print("not here: jalv")
        sys.exit(rig.SKIPPED)
    unittest.main(argv=sys.argv[:1], verbosity=2)
