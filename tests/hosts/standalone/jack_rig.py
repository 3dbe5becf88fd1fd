# SPDX-License-Identifier: GPL-3.0-or-later
"""A JACK server without a sound card, for this process and its children alone, and a client that
records and plays MIDI."""

import cmath
import math
import os
import queue
import shutil
import struct
import subprocess
import sys
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
    """jackd with its dummy driver under a name of its own. A machine knows eight names at most, and
    frees one only when a server of that name ends well: so there are few of them."""

    NAMES = [f"zephra-test-{i}" for i in range(3)]

    def __init__(self):
        os.environ["JACK_NO_AUDIO_RESERVATION"] = "1"
        os.environ["JACK_NO_START_SERVER"] = "1"
        self.process = None

    def start(self, patient=False):
        """`patient`: a client that is late is waited for, so that a busy machine loses no block."""
        for name in self.NAMES:
            os.environ["JACK_DEFAULT_SERVER"] = name
            if self.answers():
                continue  # somebody else's
            self.process = subprocess.Popen(
                ["jackd", "-n", name, "-r", *(["-S", "-t", "2000"] if patient else []), "-d",
                 "dummy", "-r", str(RATE), "-p", str(BLOCK)],
                stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
            wait_for(lambda: self.answers() or self.process.poll() is not None, "the JACK server")
            if self.process.poll() is None:
                return
        raise AssertionError("the JACK server does not start")

    def stop(self):
        if self.process:
            self.process.terminate()
            try:
                self.process.wait(5)
            except subprocess.TimeoutExpired:
                self.process.kill()
                self.process.wait()
            self.process = None

    @staticmethod
    def answers():
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
        self.to_play = queue.SimpleQueue()  # a list of (sample, bytes) for a block
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
                for sample, message in self.to_play.get_nowait():
                    self.keys.write_midi_event(sample, message)
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

    def play(self, *messages, sample=0):
        """At this sample of a block."""
        self.to_play.put([(sample, bytes(message)) for message in messages])

    def record(self, seconds):
        end = len(self.blocks) + seconds * RATE / BLOCK
        wait_for(lambda: len(self.blocks) >= end, "the JACK server to run on")

    def sound(self):
        """Interleaved samples since the start."""
        blocks = list(self.blocks)
        left, right = (b"".join(block[side] for block in blocks) for side in (0, 1))
        count = len(left) // 4
        return [value for pair in zip(struct.unpack(f"<{count}f", left),
                                      struct.unpack(f"<{count}f", right)) for value in pair]


def chord_song(lead_in):
    """A MIDI file: three notes, an arpeggio, a bend and a controller after `lead_in` seconds."""
    def delta(ticks):  # 480 a second
        return bytes([0x80 | ticks >> 14 & 0x7f, 0x80 | ticks >> 7 & 0x7f, ticks & 0x7f])
    events = [(480 * lead_in, (0x90, 48, 100)), (0, (0x90, 55, 90)), (7, (0x90, 64, 80)),
              (101, (0xe0, 0, 80)), (33, (0xb0, 1, 70)), (211, (0x80, 48, 0)), (1, (0x90, 72, 127)),
              (97, (0xe0, 0, 64)), (3, (0x80, 55, 0)), (5, (0x80, 64, 0)), (77, (0x80, 72, 0))]
    track = b"".join(delta(ticks) + bytes(message) for ticks, message in events)
    track += b"\x00\xff\x2f\x00"
    return (b"MThd" + struct.pack(">IHHH", 6, 0, 1, 240) +
            b"MTrk" + struct.pack(">I", len(track)) + track)


def from_first_sound(samples):
    """Interleaved samples from the first frame on that can be heard."""
    first = next((i for i, value in enumerate(samples) if abs(value) > AUDIBLE), len(samples))
    return samples[first - first % 2:]


def peak(samples):
    return max(map(abs, samples), default=0.0)


def strength(samples, hertz):
    """Of a frequency in interleaved samples."""
    turn = 2.0 * math.pi * hertz / RATE
    left = samples[::2]
    return abs(sum(value * cmath.exp(-1j * turn * i) for i, value in enumerate(left))) / len(left)


def octaves(samples):
    """Levels from the highest octave down, dB, of the left side of interleaved samples."""
    levels, sound = [], samples[:131072:2]
    while len(sound) > 512:
        pairs = list(zip(sound[::2], sound[1::2]))
        levels.append(10 * math.log10(1e-9 + sum((a - b) ** 2 for a, b in pairs) / len(sound)))
        sound = [(a + b) / 2 for a, b in pairs]
    return levels


def wav_samples(data):
    """Interleaved samples of a 32-bit float WAV."""
    at = 12
    while True:
        name, size = struct.unpack("<4sI", data[at:at + 8])
        at += 8
        if name == b"data":
            return list(struct.unpack(f"<{size // 4}f", data[at:at + size]))
        at += size
