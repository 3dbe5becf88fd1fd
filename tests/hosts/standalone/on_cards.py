#!/usr/bin/python3
# SPDX-License-Identifier: GPL-3.0-or-later
"""zephra on PulseAudio and on ALSA, with a sink that goes nowhere: on_cards.py ZEPHRA ZEPHRA_RENDER"""

import os
import shutil
import struct
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

import jack_rig as rig

ZEPHRA, RENDER = sys.argv[1:3]
BLOCK = "4096"  # so that a busy machine is not too late for one

# What is played is written to a file on its way to the server, whether that keeps up or not.
ALSA = """
pcm.server {{ type pulse }}
pcm.!default {{ type file slave.pcm server file "{file}" format raw }}
ctl.!default {{ type pulse }}
"""


class OnCards(unittest.TestCase):
    def setUp(self):
        place = tempfile.TemporaryDirectory()
        self.addCleanup(place.cleanup)
        self.folder = Path(place.name)
        self.played = self.folder / "played.raw"
        os.environ.update(
            ZEPHRA_DATA_ROOT=str(self.folder / "data"),
            ZEPHRA_SETTINGS_DIR=str(self.folder / "settings"), JACK_NO_START_SERVER="1",
            JACK_DEFAULT_SERVER="none", HOME=str(self.folder), XDG_RUNTIME_DIR=str(self.folder),
            PULSE_SERVER=f"unix:{self.folder}/native")
        self.server = subprocess.Popen(
            ["pulseaudio", "-n", "--daemonize=no", "--use-pid-file=no", "--exit-idle-time=-1",
             "--realtime=no", "--high-priority=no",
             "-L", "module-null-sink sink_name=nowhere rate=48000 format=float32le",
             "-L", f"module-native-protocol-unix auth-anonymous=1 socket={self.folder}/native"],
            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.addCleanup(self.server.wait)
        self.addCleanup(self.server.terminate)
        rig.wait_for(lambda: subprocess.run(["pactl", "info"], capture_output=True,
                                            check=False).returncode == 0, "PulseAudio")
        self.song = self.folder / "song.mid"
        self.song.write_bytes(rig.chord_song(lead_in=1))

    def play(self, device):
        result = subprocess.run([ZEPHRA, "--device", device, "--block", BLOCK, "--play", self.song],
                                stdin=subprocess.DEVNULL, capture_output=True, text=True,
                                timeout=120, check=False)
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.assertIn(device, result.stdout)

    def render(self):
        out = self.folder / "render.wav"
        subprocess.run([RENDER, self.song, "--library", self.folder / "data/Soundbanks", "--quiet",
                        "--block", BLOCK, "--out", out], check=True)
        return rig.from_first_sound(rig.wav_samples(out.read_bytes()))

    def test_alsa_gets_what_is_rendered_sample_by_sample(self):
        config = self.folder / "alsa.conf"
        config.write_text(ALSA.format(file=self.played))
        os.environ["ALSA_CONFIG_PATH"] = str(config)
        self.play("ALSA")
        data = self.played.read_bytes()
        heard = rig.from_first_sound(struct.unpack(f"<{len(data) // 4}f", data))
        rendered = self.render()
        compared = min(len(heard), len(rendered))
        self.assertGreater(compared, 2 * rig.RATE)
        differing = [i for i in range(compared) if heard[i] != rendered[i]]
        self.assertEqual(differing[:5], [], f"{len(differing)} of {compared} samples")

    def test_pulseaudio_plays_at_the_level_of_the_render(self):
        with open(self.played, "wb") as file:
            recorder = subprocess.Popen(["parec", "--device=nowhere.monitor", "--format=float32le",
                                         "--rate=48000", "--channels=2", "--raw"], stdout=file)
            self.play("Pulse")
            recorder.terminate()
            recorder.wait()
        data = self.played.read_bytes()
        heard = rig.from_first_sound(struct.unpack(f"<{len(data) // 8 * 2}f",
                                                   data[:len(data) // 8 * 8]))
        rendered = self.render()
        self.assertAlmostEqual(rig.peak(heard) / rig.peak(rendered), 1.0, delta=0.2)


if __name__ == "__main__":
    if not all(map(shutil.which, ("pulseaudio", "pactl", "parec"))):
        print("not here: PulseAudio")
        sys.exit(rig.SKIPPED)
    unittest.main(argv=sys.argv[:1] + sys.argv[3:])
