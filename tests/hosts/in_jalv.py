#!/usr/bin/python3
# SPDX-License-Identifier: GPL-3.0-or-later
"""Zephra.lv2 in jalv, on a JACK server without a sound card: in_jalv.py BUNDLE ZEPHRA_RENDER BANKS

What jalv plays is recorded and compared with zephra-render."""

import math
import os
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

import rig

BUNDLE, RENDER, BANKS = (Path(name).resolve() for name in sys.argv[1:4])
URI = "urn:quillon-audio:zephra"
FIRST, OTHER = "Showcase/Bass Carpet QX", "Essentials/Bass/Bee Line QE"

# Samples from the first note's block on; what jalv gets, and the same for zephra-render.
NOTES = [(37, 20000, 40, 100), (9000, 30000, 47, 64), (30001, 52001, 52, 127)]  # on, off, key, velocity
WHEEL = [(15000, 100), (40000, 31)]  # sample, value
LENGTH = 80000
LEAD_IN = 375 * rig.BLOCK  # jalv has also been idle, and the instrument asleep, for a while
CUTOFF_3000 = f"--auto=filter_cutoff={math.log(3000 / 25) / math.log(2.02) / 10:.9f}@1"  # in Hz


def seconds(sample):
    return f"{(LEAD_IN + sample) / rig.RATE:.9f}"


class InJalv(unittest.TestCase):
    def setUp(self):
        place = tempfile.TemporaryDirectory()
        self.addCleanup(place.cleanup)
        self.folder = Path(place.name)
        rig.make_home(self.folder, BANKS)
        os.environ["LV2_PATH"] = f"{BUNDLE.parent}:/usr/lib/lv2"
        self.addCleanup(rig.Server().stop)

    def start(self):
        """jalv with the plug-in, connected to a keyboard and a recorder."""
        self.studio = rig.Studio()
        for _ in range(5):  # on a busy machine the server may not answer it in time
            self.jalv = subprocess.Popen(["jalv", "-n", "Zephra", "-x", URI],
                                         stdin=subprocess.PIPE, stdout=subprocess.DEVNULL,
                                         stderr=subprocess.DEVNULL, text=True)
            rig.wait_for(lambda: self.jalv.poll() is not None or len(self.studio.outputs()) == 2,
                         "jalv")
            if self.jalv.poll() is None:
                break
        self.addCleanup(self.jalv.communicate)
        self.addCleanup(self.jalv.kill)
        self.addCleanup(self.studio.close)
        self.studio.connect()
        self.studio.client.connect(self.studio.keys, "Zephra:events_in")
        self.studio.record(1)  # until the instrument is asleep

    def say(self, *commands):
        for command in commands:
            self.jalv.stdin.write(command + "\n")
            self.jalv.stdin.flush()
            self.studio.record(0.5)

    def phrase(self):
        """Plays it and returns the recording from the first sound on."""
        events = sorted([(on, (0x90, key, velocity)) for on, _, key, velocity in NOTES]
                        + [(off, (0x80, key, 0)) for _, off, key, _ in NOTES]
                        + [(at, (0xb0, 1, value)) for at, value in WHEEL])
        before = len(self.studio.blocks)
        for start in range(0, LENGTH, rig.BLOCK):
            self.studio.to_play.put([(at - start, bytes(message)) for at, message in events
                                     if start <= at < start + rig.BLOCK])
        self.studio.record(LENGTH / rig.RATE + 0.5)
        return rig.from_first_sound(self.studio.sound(before))

    def rendered(self, patch, *options):
        notes = [f"--note={key},{velocity},{seconds(on)},{seconds(off)}"
                 for on, off, key, velocity in NOTES]
        wheel = [f"--cc=1,{value},{seconds(at)}" for at, value in WHEEL]
        library = self.folder / "data" / "Soundbanks"
        return rig.from_first_sound(rig.rendered(
            RENDER, self.folder, "--patch", library / (patch + ".fxp"), *notes, *wheel, *options,
            "--seconds", seconds(LENGTH)))

    def test_a_moved_port_is_heard_sample_for_sample(self):
        self.start()
        # Effects would run on before the first note. They fade for two thirds of a second.
        self.say("set fx_active 0", "set filter_cutoff 3000")
        self.studio.record(1)
        rig.assert_equal(self.id(), self.phrase(),
                         self.rendered(FIRST, "--set=fx_active=0", CUTOFF_3000))

    def test_presets_and_program_changes_load_patches(self):
        self.start()
        self.say("presets")  # reads them: without it, jalv only knows their names
        self.say(f"preset {URI}:preset:{OTHER.replace(' ', '_')}")
        rig.assert_alike("preset", self.phrase(), self.rendered(OTHER), 2.0)
        library = self.folder / "data" / "Soundbanks"
        listed = rig.run(RENDER, "--list-patches", library).splitlines()
        bank = [line.split("\t")[-1] for line in listed if line.startswith("Essentials\t")]
        self.studio.play((0xb0, 32, 0))  # bank by number: the first one is empty
        self.studio.play((0xb0, 32, 2), (0xc0, 2, 0))
        self.studio.record(1)
        patch = str(Path(bank[2]).relative_to(library).with_suffix(""))
        rig.assert_alike("program change", self.phrase(), self.rendered(patch), 2.0)


rig.needs("jack", "jackd", "jalv")
unittest.main(argv=sys.argv[:1], verbosity=2)
