#!/usr/bin/python3
# SPDX-License-Identifier: GPL-3.0-or-later
"""zephra on ALSA and on PulseAudio, with a sink that goes nowhere: on_cards.py ZEPHRA ZEPHRA_RENDER

ALSA gets what is rendered sample by sample, PulseAudio what is as loud."""

import os
import subprocess
import sys
import tempfile
from pathlib import Path

import rig

ZEPHRA, RENDER = sys.argv[1:3]
BLOCK = 4096  # so that a busy machine is not too late for one

# What is played is written to a file on its way to the server, whether that keeps up or not.
ALSA = """
pcm.server {{ type pulse }}
pcm.!default {{ type file slave.pcm server file "{file}" format raw }}
ctl.!default {{ type pulse }}
"""


def main(folder):
    rig.make_home(folder)
    played, song, config = (folder / name for name in ("played.raw", "song.mid", "alsa.conf"))
    os.environ.update(JACK_NO_START_SERVER="1", JACK_DEFAULT_SERVER="none",
                      PULSE_SERVER=f"unix:{folder}/native", ALSA_CONFIG_PATH=str(config))
    song.write_bytes(rig.chord_song(lead_in=1))
    config.write_text(ALSA.format(file=played))

    def play(device):
        said = rig.run(ZEPHRA, "--device", device, "--block", BLOCK, "--play", song,
                       stdin=subprocess.DEVNULL)
        assert device in said, said

    server = subprocess.Popen(
        ["pulseaudio", "-n", "--daemonize=no", "--use-pid-file=no", "--exit-idle-time=-1",
         "--realtime=no", "--high-priority=no",
         "-L", "module-null-sink sink_name=nowhere rate=48000 format=float32le",
         "-L", f"module-native-protocol-unix auth-anonymous=1 socket={folder}/native"],
        stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    try:
        rig.wait_for((folder / "native").exists, "PulseAudio")
        play("ALSA")
        own = rig.from_first_sound(rig.rendered(RENDER, folder, song, block=BLOCK))
        rig.assert_equal("ALSA", rig.from_first_sound(rig.floats(played.read_bytes())), own)
        with open(played, "wb") as file:
            recorder = subprocess.Popen(["parec", "--device=nowhere.monitor", "--format=float32le",
                                         "--rate=48000", "--channels=2", "--raw"], stdout=file)
            play("Pulse")
            recorder.terminate()
            recorder.wait()
        louder = rig.peak(rig.floats(played.read_bytes())) / rig.peak(own)
        assert 0.8 < louder < 1.2, f"{louder} times as loud"
    finally:
        server.terminate()
        server.wait()


rig.needs("pulseaudio", "parec")
with tempfile.TemporaryDirectory() as place:
    main(Path(place))
