#!/usr/bin/python3
# SPDX-License-Identifier: GPL-3.0-or-later
"""zephra on a JACK server without a sound card: on_jack.py ZEPHRA ZEPHRA_RENDER

The system's own Python, since python3-jack-client is one of its packages."""

import os
import pty
import re
import select
import signal
import subprocess
import sys
import tempfile
import termios
import time
import unittest
from pathlib import Path

import jack_rig as rig

ZEPHRA, RENDER = sys.argv[1:3]


class OnJack(unittest.TestCase):
    def setUp(self):
        self.server = rig.Server()
        self.server.start(patient="terminal" not in self.id())  # it would wait for crashed ones
        self.addCleanup(self.server.stop)
        place = tempfile.TemporaryDirectory()
        self.addCleanup(place.cleanup)
        self.folder = Path(place.name)
        os.environ["ZEPHRA_DATA_ROOT"] = str(self.folder / "data")
        os.environ["ZEPHRA_SETTINGS_DIR"] = str(self.folder / "settings")
        self.patch = self.folder / "Test.fxp"
        self.render("--set", "polyphony=3", "--set", "filter_cutoff=0.6",
                    "--save-patch", self.patch, "--seconds", "0")
        self.running = []
        self.addCleanup(self.end_all)

    def render(self, *options):
        out = self.folder / "render.wav"
        subprocess.run([RENDER, *map(str, options), "--quiet", "--block", str(rig.BLOCK), "--rate",
                        str(rig.RATE), "--out", out], check=True)
        return rig.wav_samples(out.read_bytes())

    def start(self, *options, **streams):
        program = subprocess.Popen([ZEPHRA, *map(str, options)], **streams)
        self.running.append(program)
        return program

    def end_all(self):
        for program in self.running:
            if program.poll() is None:
                program.kill()
            program.wait()

    def studio(self, **options):
        studio = rig.Studio(**options)
        self.addCleanup(studio.close)
        return studio

    # --- Sound ---
    def test_a_song_sounds_as_it_is_rendered_sample_by_sample(self):
        song = self.folder / "song.mid"
        song.write_bytes(rig.chord_song(lead_in=3))
        studio = self.studio(keyboard=None)
        program = self.start("--patch", self.patch, "--play", song, stdin=subprocess.DEVNULL,
                             stdout=subprocess.DEVNULL)
        studio.connect()
        self.assertEqual(program.wait(60), 0, "the program ends with the song")

        heard = rig.from_first_sound(studio.sound())
        library = self.folder / "data" / "Soundbanks"  # whose first patch comes before
        rendered = rig.from_first_sound(
            self.render("--library", library, "--patch", self.patch, song))
        self.assertGreater(rig.peak(rendered), 0.05)
        self.assertGreaterEqual(len(heard), len(rendered))
        differing = [i for i, pair in enumerate(zip(heard, rendered)) if pair[0] != pair[1]]
        self.assertEqual(differing[:5], [], f"of {len(rendered)} samples")

    def test_a_keyboard_that_appears_plays(self):
        program = self.start("--patch", self.patch, stdin=subprocess.DEVNULL,
                             stdout=subprocess.PIPE, text=True)
        studio = self.studio()
        studio.connect()
        rig.wait_for(studio.keyboard_is_heard, "the program to connect to the keyboard")
        studio.record(0.1)
        silent = len(studio.blocks)
        self.assertLess(rig.peak(studio.sound()), rig.AUDIBLE, "silence before the first note")
        studio.play((0x90, 57, 100), sample=170)
        studio.record(0.6)
        studio.play((0x80, 57, 0))
        sound = studio.sound()[2 * silent * rig.BLOCK:]
        first = next(i for i, value in enumerate(sound) if abs(value) > rig.AUDIBLE) // 2
        self.assertLess(first / rig.RATE, 0.1, "from key to sound")
        self.assertIn(first % rig.BLOCK, range(170, 230), "on its sample, but for the attack")

        heard = rig.from_first_sound(sound)[:rig.RATE // 2]
        rendered = rig.from_first_sound(
            self.render("--patch", self.patch, "--note", "57,100,0,0.5"))[:rig.RATE // 2]
        a3, *others = (rig.strength(heard, hertz) for hertz in (220.0, 207.7, 233.1))
        self.assertGreater(a3, 5 * max(others), "the key that was played")
        self.assertAlmostEqual(a3 / rig.strength(rendered, 220.0), 1.0, delta=0.3)

        program.send_signal(signal.SIGTERM)
        said = program.communicate(timeout=30)[0]
        self.assertEqual(program.returncode, 0)
        self.assertRegex(said, r"(?s)JACK, 48000 Hz, blocks of 256.*Connected: .*Keyboard")

    def test_a_keyboard_that_is_pulled_leaves_no_note_hanging(self):
        self.start("--patch", self.patch, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL)
        studio = self.studio()
        player = rig.jack.Client("Piano")
        port = player.midi_outports.register("keys")
        to_play = []

        def process(_):
            port.clear_buffer()
            if to_play:
                port.write_midi_event(0, to_play.pop())
        player.set_process_callback(process)
        player.activate()
        studio.connect()
        rig.wait_for(lambda: player.get_all_connections(port), "the connection")
        to_play.append(bytes((0x90, 60, 100)))
        rig.wait_for(lambda: rig.peak(studio.sound()[-2 * rig.BLOCK:]) > 0.01, "sound")
        player.deactivate()
        player.close()
        rig.wait_for(lambda: rig.peak(studio.sound()[-2 * rig.BLOCK:]) < 0.001, "silence")

    def test_the_server_may_change_its_block_size(self):
        self.start("--patch", self.patch, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL)
        studio = self.studio()
        studio.connect()
        rig.wait_for(studio.keyboard_is_heard, "the program to connect to the keyboard")
        for size in (1024, 64):
            studio.client.blocksize = size
            studio.play((0x90, 57, 100))
            rig.wait_for(lambda: rig.peak(studio.sound()[-2 * rig.BLOCK:]) > 0.01, "sound")
            studio.play((0x80, 57, 0))
            rig.wait_for(lambda: rig.peak(studio.sound()[-2 * rig.BLOCK:]) < 0.001, "silence")

    def test_the_server_may_go_and_come_back(self):
        program = self.start("--patch", self.patch, stdin=subprocess.DEVNULL,
                             stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        studio = rig.Studio(keyboard=None)
        studio.connect()
        studio.close()
        self.server.stop()
        time.sleep(2.5)
        self.assertIsNone(program.poll(), "it waits")
        self.server.start(patient=True)
        studio = self.studio()
        studio.connect()
        rig.wait_for(studio.keyboard_is_heard, "the program to connect to the keyboard")
        studio.play((0x90, 57, 100))
        rig.wait_for(lambda: rig.peak(studio.sound()[-2 * rig.BLOCK:]) > 0.01, "sound")
        program.send_signal(signal.SIGINT)
        said = program.communicate(timeout=30)[0]
        self.assertEqual(program.returncode, 0)
        self.assertRegex(said, r"(?s)device has gone.*sound is back")

    # --- Choices ---
    def test_devices_and_ports_are_chosen_and_remembered(self):
        listed = subprocess.run([ZEPHRA, "--list-devices"], capture_output=True, text=True,
                                check=True).stdout
        self.assertIn("JACK, 48000 Hz", listed)
        settings = self.folder / "settings"
        for options, kept in ((["--device", "jAcK", "--midi", "none"], (b"jAcK", b"none")),
                              ([], (b"jAcK", b"none")),
                              (["--device", "any", "--midi", "any"], (b"", b""))):
            program = self.start(*options, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE)
            program.stdout.readline()
            program.send_signal(signal.SIGHUP)
            self.assertEqual(program.wait(30), 0)
            program.stdout.close()
            self.assertEqual(tuple((settings / name).read_bytes()
                                   for name in ("AudioDevice", "MidiPort")), kept)
        refused = subprocess.run([ZEPHRA, "--device", "no such"], capture_output=True, text=True,
                                 check=False)
        self.assertEqual(refused.returncode, 1)
        self.assertRegex(refused.stderr, r"\Azephra: no such: [^\n]+\n\Z")
        (settings / "AudioDevice").write_bytes(b"unplugged")
        program = self.start(stdin=subprocess.DEVNULL, stdout=subprocess.PIPE)
        self.assertIn(b"JACK", program.stdout.readline())
        program.terminate()
        program.communicate()

    def test_patches_come_from_files_and_from_the_library(self):
        for patch, name in ((self.patch, "Test"), ("showcase/bass carpet qx", "Bass Carpet QX"),
                            ("Showcase/Bass Carpet QX.fxp", "Bass Carpet QX")):
            with Terminal(self, "--patch", patch) as terminal:
                terminal.wait_for(re.escape(f"The Zephra: {name}\a"))
        for patch, what in (("nowhere.fxp", "nowhere.fxp"), (__file__, "not a patch")):
            refused = subprocess.run([ZEPHRA, "--patch", patch], capture_output=True, text=True,
                                     check=False)
            self.assertEqual(refused.returncode, 1)
            self.assertRegex(refused.stderr, r"\Azephra: [^\n]+\n\Z")
            self.assertIn(what, refused.stderr)

    # --- The terminal ---
    def test_computer_keys_play_and_step(self):
        studio = self.studio(keyboard=None)
        with Terminal(self, "--midi", "none") as terminal:
            studio.connect()
            terminal.wait_for(r"Bass Carpet QX  octave 3  dropped \d+")
            terminal.type("\033[C")
            terminal.wait_for("octave 4")
            terminal.type(" ")
            terminal.wait_for("pedal")
            terminal.type(" ")
            terminal.type("Zc")
            rig.wait_for(lambda: rig.peak(studio.sound()) > 0.01, "sound")
            terminal.wait_for(r"\[#+\.*\] +-?\d+ dB")
            terminal.type("\033[B")
            terminal.wait_for(r"\033\]2;The Zephra: (?!Bass Carpet)[^\a]+\a")
            terminal.type("\033[A")
            terminal.wait_for(r"\033\]2;The Zephra: Bass Carpet QX\a")
            rig.wait_for(lambda: rig.peak(studio.sound()[-2 * rig.BLOCK:]) < 0.001, "silence")
            terminal.type("\033")
            self.assertEqual(terminal.program.wait(30), 0)

    def test_the_terminal_is_left_as_it_was(self):
        for end in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP, signal.SIGQUIT, signal.SIGSEGV,
                    signal.SIGABRT, "\003", "\004"):
            with Terminal(self) as terminal:
                terminal.wait_for("octave 3")
                self.assertNotEqual(terminal.state(), terminal.found, "raw while it plays")
                if isinstance(end, str):
                    terminal.type(end)
                else:
                    terminal.program.send_signal(end)
                status = terminal.program.wait(30)
                crashes = end in (signal.SIGSEGV, signal.SIGABRT)
                self.assertEqual(status, -end if crashes else 0, end)
                self.assertEqual(terminal.state(), terminal.found, end)
                terminal.wait_for("\033\\[23;2t")  # the title, too

    def test_stopped_and_continued(self):
        with Terminal(self) as terminal:
            terminal.wait_for("octave 3")
            terminal.program.send_signal(signal.SIGTSTP)
            rig.wait_for(lambda: terminal.state() == terminal.found, "the terminal as it was")
            terminal.program.send_signal(signal.SIGCONT)
            rig.wait_for(lambda: terminal.state() != terminal.found, "the keys")


class Terminal:
    """The program on a terminal of its own."""

    def __init__(self, test, *options):
        self.screen, inside = pty.openpty()
        self.inside = inside
        self.found = self.state()
        self.shown = ""
        self.program = test.start(*options, stdin=inside, stdout=inside, start_new_session=True,
                                  preexec_fn=lambda: os.close(os.open(os.ttyname(0), os.O_RDWR)))

    def __enter__(self):
        return self

    def __exit__(self, *_):
        if self.program.poll() is None:
            self.program.terminate()
            self.program.wait(30)
        os.close(self.screen)
        os.close(self.inside)

    def state(self):
        return termios.tcgetattr(self.inside)

    def type(self, text):
        os.write(self.screen, text.encode())

    def wait_for(self, pattern, seconds=30.0):
        """Until it was shown; what was shown up to then is forgotten."""
        end = time.monotonic() + seconds
        while not (found := re.search(pattern, self.shown)):
            if select.select([self.screen], [], [], max(0.0, end - time.monotonic()))[0]:
                self.shown += os.read(self.screen, 65536).decode()
            elif time.monotonic() > end:
                raise AssertionError(f"{pattern} was not shown: {self.shown[-500:]!r}")
        self.shown = self.shown[found.end():]


if __name__ == "__main__":
    rig.skip_unless_complete()
    unittest.main(argv=sys.argv[:1] + sys.argv[3:])
