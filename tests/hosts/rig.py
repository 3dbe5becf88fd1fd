# SPDX-License-Identifier: GPL-3.0-or-later
"""What the tests in hosts of others share: a home for the plug-in, what zephra-render makes of the
same notes, a JACK server without a sound card and a client that records and plays there, a screen
that nobody sees, and ways to compare sounds."""

import math
import os
import queue
import shutil
import struct
import subprocess
import sys
import time
from pathlib import Path

RATE, BLOCK = 48000, 256
AUDIBLE = 1e-5

try:
    import jack  # one of the packages of the system's own Python
except ImportError:
    jack = None


def needs(*programs):
    """Ends the script with the status of a skipped test where one of them is missing."""
    missing = [name for name in programs if not (jack if name == "jack" else shutil.which(name))]
    if missing:
        print("not here:", *missing)
        sys.exit(77)


def run(*command, **options):
    """What it prints."""
    done = subprocess.run([str(part) for part in command], stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, text=True, timeout=300, check=False, **options)
    assert done.returncode == 0, f"{command[0]} ended with {done.returncode}:\n{done.stdout}"
    return done.stdout


def make_home(folder, banks=None):
    """Folders of a user for this process and its children, with a library of these banks."""
    for variable, name in (("HOME", "home"), ("XDG_CACHE_HOME", "cache"),
                           ("XDG_CONFIG_HOME", "config"), ("XDG_RUNTIME_DIR", "run")):
        (folder / name).mkdir(mode=0o700)
        os.environ[variable] = str(folder / name)
    os.environ["ZEPHRA_DATA_ROOT"] = str(folder / "data")
    os.environ["ZEPHRA_SETTINGS_DIR"] = str(folder / "settings")
    if banks:
        shutil.copytree(banks, folder / "data" / "Soundbanks")


def rendered(render, folder, *options, block=BLOCK):
    """Interleaved samples from zephra-render, with the library of the home."""
    out = folder / "render.wav"
    library = folder / "data" / "Soundbanks"
    run(render, *(["--library", library] if library.exists() else []), *options, "--rate", RATE,
        "--block", block, "--quiet", "--out", out)
    return wav_samples(out.read_bytes())


def wait_for(condition, what, seconds=30.0):
    end = time.monotonic() + seconds
    while not condition():
        assert time.monotonic() < end, f"waited in vain for {what}"
        time.sleep(0.01)


class Server:
    """jackd with its dummy driver under a name of its own. A machine knows eight names at most, and
    frees one only when a server of that name ends well: so there are few of them."""

    def __init__(self, patient=True):
        """`patient`: a client that is late is waited for, so that a busy machine loses no block."""
        os.environ["JACK_NO_AUDIO_RESERVATION"] = os.environ["JACK_NO_START_SERVER"] = "1"
        for name in (f"zephra-test-{i}" for i in range(3)):
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
        self.process.terminate()
        try:
            self.process.wait(5)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait()

    @staticmethod
    def answers():
        return subprocess.run(["jack_lsp"], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                              check=False).returncode == 0


class Screen:
    """A screen that nobody sees, for programs that show windows; they are driven by keys."""

    def __init__(self):
        reading, writing = os.pipe()
        self.process = subprocess.Popen(["Xvfb", "-displayfd", str(writing)], pass_fds=[writing],
                                        stderr=subprocess.DEVNULL)
        os.close(writing)
        with open(reading, encoding="ascii") as number:
            os.environ["DISPLAY"] = ":" + number.readline().strip()

    def close(self):
        self.process.terminate()
        self.process.wait()

    @staticmethod
    def press(window, *keys):
        """Once there is a window of this name."""
        found = run("xdotool", "search", "--sync", "--onlyvisible", "--name", window).split()
        run("xdotool", "windowfocus", "--sync", found[-1], "sleep", "1", *keys)


class Studio:
    """Records what a program plays, and has a keyboard for it to connect to."""

    def __init__(self, keyboard="Keyboard", program="Zephra:"):
        self.program = program
        self.client = jack.Client("Studio")
        self.inputs = [self.client.inports.register(name) for name in ("left", "right")]
        self.keys = self.client.midi_outports.register(keyboard) if keyboard else None
        self.blocks = []
        self.to_play = queue.SimpleQueue()  # a list of (sample, bytes) for a block
        self.client.set_process_callback(self._process)
        self.client.activate()

    def close(self):
        if self.client:
            self.client.deactivate()
            self.client.close()
            self.client = None

    def _process(self, _):
        self.blocks.append(tuple(bytes(port.get_buffer()) for port in self.inputs))
        if self.keys:
            self.keys.clear_buffer()
            if not self.to_play.empty():
                for sample, message in self.to_play.get_nowait():
                    self.keys.write_midi_event(sample, message)

    def outputs(self):
        return self.client.get_ports(self.program, is_audio=True, is_output=True)

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

    def play(self, *messages, sample=0):
        """At this sample of a block."""
        self.to_play.put([(sample, bytes(message)) for message in messages])

    def record(self, seconds):
        end = len(self.blocks) + seconds * RATE / BLOCK
        wait_for(lambda: len(self.blocks) >= end, "the JACK server to run on")

    def sound(self, first=0):
        """Interleaved samples from this block on."""
        blocks = self.blocks[first:]
        sides = (floats(b"".join(block[side] for block in blocks)) for side in (0, 1))
        return [value for pair in zip(*sides) for value in pair]

    def wait_for_peak(self, test, what):
        wait_for(lambda: test(peak(self.sound(-1))), what)


def chord_song(lead_in):
    """A MIDI file: three notes, a bend and a controller after `lead_in` seconds."""
    def delta(ticks):  # 480 a second
        return bytes([0x80 | ticks >> 14 & 0x7f, 0x80 | ticks >> 7 & 0x7f, ticks & 0x7f])
    events = [(480 * lead_in, (0x90, 48, 100)), (0, (0x90, 55, 90)), (108, (0xe0, 0, 80)),
              (33, (0xb0, 1, 70)), (211, (0x80, 48, 0)), (1, (0x90, 72, 127)),
              (97, (0xe0, 0, 64)), (8, (0x80, 55, 0)), (77, (0x80, 72, 0))]
    track = b"".join(delta(ticks) + bytes(message) for ticks, message in events)
    track += b"\x00\xff\x2f\x00"
    return (b"MThd" + struct.pack(">IHHH", 6, 0, 1, 240) +
            b"MTrk" + struct.pack(">I", len(track)) + track)


def floats(data):
    return list(struct.unpack(f"<{len(data) // 4}f", data[:len(data) // 4 * 4]))


def wav_samples(data):
    """Interleaved samples of a 32-bit float WAV."""
    at = data.index(b"data")
    size, = struct.unpack_from("<I", data, at + 4)
    return floats(data[at + 8:at + 8 + size])


def from_first_sound(samples):
    """Interleaved samples from the first frame on that can be heard."""
    first = next((i for i, value in enumerate(samples) if abs(value) > AUDIBLE), len(samples))
    return samples[first - first % 2:]


def peak(samples):
    return max(map(abs, samples), default=0.0)


def assert_equal(what, played, own):
    """As far as both go."""
    count = min(len(played), len(own))
    differing = [i for i in range(count) if played[i] != own[i]]
    print(f"{what}: {count // 2} frames, peak {peak(own):.4f}, {len(differing)} samples differ")
    assert count > 2 * RATE and peak(own) > 0.02 and not differing, differing[:5]


def octaves(samples):
    """Levels from the highest octave down, dB, of the left side of interleaved samples."""
    levels, sound = [], samples[:131072:2]
    while len(sound) > 512:
        pairs = list(zip(sound[::2], sound[1::2]))
        levels.append(10 * math.log10(1e-9 + sum((a - b) ** 2 for a, b in pairs) / len(sound)))
        sound = [(a + b) / 2 for a, b in pairs]
    return levels


def assert_alike(what, played, own, most=1.0):
    """The mean difference of the octaves, dB: as far as another start of free oscillators lets them
    be alike."""
    both = list(zip(octaves(played), octaves(own)))
    apart = sum(abs(a - b) for a, b in both) / len(both)
    print(f"{what}: {apart:.2f} dB apart; octaves", *(f"{a:.1f}/{b:.1f}" for a, b in both))
    assert apart < most and peak(own) > 0.02
