# SPDX-License-Identifier: GPL-3.0-or-later
"""A JACK server without a sound card, for this process and its children alone, and a client that
records and plays MIDI."""

import os
import queue
import shutil
import struct
import subprocess
import sys
import threading
import time

SKIPPED = 77  # exit status: a program is missing

RATE, BLOCK = 48000, 256
AUDIBLE = 1e-5

try:
    import jack
except ImportError:
    jack = None


def skip_unless_complete():
    missing = [name for name in ("jackd",) if not shutil.which(name)]
    if jack is None:
        missing.append("python3-jack-client")
    if missing:
        print("not here:", *missing)
        sys.exit(SKIPPED)


class Server:
    """jackd with its dummy driver under a name of its own."""

    def __init__(self):
        self.name = f"zephra-test-{os.getpid()}"
        os.environ["JACK_DEFAULT_SERVER"] = self.name
        os.environ["JACK_NO_AUDIO_RESERVATION"] = "1"
        os.environ["JACK_NO_START_SERVER"] = "1"
        self.process = None

    def start(self):
        # -S, -t: a client that is late is waited for, so that a busy machine loses no block.
        self.process = subprocess.Popen(
            ["jackd", "-n", self.name, "-r", "-S", "-t", "20000", "-d", "dummy", "-r", str(RATE), "-p",
             str(BLOCK)], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        wait_for(self.answers, "the JACK server")

    def stop(self):
        if self.process:
            self.process.terminate()
            self.process.wait(10)
            self.process = None

    def answers(self):
        return subprocess.run(["jack_lsp"], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                              check=False).returncode == 0


def wait_for(condition, what, seconds=30.0):
    end = time.monotonic() + seconds
    while not condition():
        if time.monotonic() > end:
            raise AssertionError(f"waited in vain for {what}")
        time.sleep(0.01)


class Studio:
    """Records what the program "Zephra" plays, and has a keyboard for it to connect to."""

    def __init__(self, keyboard="Keyboard"):
        self.client = jack.Client("Studio")
        self.inputs = [self.client.inports.register(name) for name in ("left", "right")]
        self.keys = self.client.midi_outports.register(keyboard) if keyboard else None
        self.blocks = []
        self.to_play = queue.SimpleQueue()  # blocks: a list of (offset, bytes)
        self.client.set_process_callback(self._process)
        self.client.activate()

    def close(self):
        self.client.deactivate()
        self.client.close()

    def _process(self, frames):
        self.blocks.append(tuple(bytes(port.get_buffer()) for port in self.inputs))
        if self.keys:
            self.keys.clear_buffer()
            try:
                for offset, message in self.to_play.get_nowait():
                    self.keys.write_midi_event(offset, message)
            except queue.Empty:
                pass

    def outputs(self):
        return self.client.get_ports("Zephra:", is_audio=True, is_output=True)

    def connect(self):
        wait_for(lambda: len(self.outputs()) == 2, "the outputs of the program")
        for output, own in zip(self.outputs(), self.inputs):
            wait_for(lambda out=output, to=own: self._connected(out, to), "a connection")

    def _connected(self, output, own):
        try:
            self.client.connect(output, own)
        except jack.JackErrorCode:  # not yet active, or there already
            pass
        return own.is_connected_to(output)

    def keyboard_is_heard(self):
        return bool(self.client.get_all_connections(self.keys))

    def play(self, *messages):
        self.to_play.put([(0, bytes(message)) for message in messages])

    def sound(self):
        """Interleaved samples since the start."""
        left, right = (b"".join(block[side] for block in list(self.blocks)) for side in (0, 1))
        count = len(left) // 4
        return [value for pair in zip(struct.unpack(f"<{count}f", left),
                                      struct.unpack(f"<{count}f", right)) for value in pair]


def from_first_sound(samples):
    """Interleaved samples from the first frame on that can be heard."""
    first = next((i for i, value in enumerate(samples) if abs(value) > AUDIBLE), len(samples))
    return samples[first - first % 2:]


def peak(samples):
    return max(map(abs, samples), default=0.0)


def wav_samples(data):
    """Interleaved samples of a 32-bit float WAV."""
    at = 12
    while True:
        name, size = struct.unpack("<4sI", data[at:at + 8])
        at += 8
        if name == b"data":
            return list(struct.unpack(f"<{size // 4}f", data[at:at + size]))
        at += size
