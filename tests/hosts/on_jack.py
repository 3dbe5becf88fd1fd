#!/usr/bin/python3
# SPDX-License-Identifier: GPL-3.0-or-later
"""zephra on a JACK server without a sound card: on_jack.py ZEPHRA ZEPHRA_RENDER"""

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

import rig

ZEPHRA, RENDER = sys.argv[1:3]
QUIET = {"stdin": subprocess.DEVNULL, "stdout": subprocess.PIPE, "text": True}


def sounds(level):
    return level > 0.01


def is_silent(level):
    return level < 0.001


class OnJack(unittest.TestCase):
    def setUp(self):
        place = tempfile.TemporaryDirectory()
        self.addCleanup(place.cleanup)
        self.folder = Path(place.name)
        rig.make_home(self.folder)
        self.server = rig.Server(patient="terminal" not in self.id())  # it would wait for crashed ones
        self.addCleanup(lambda: self.server.stop())
        self.patch = self.folder / "Test.fxp"
        self.render("--set", "polyphony=3", "--set", "filter_cutoff=0.6",
                    "--save-patch", self.patch, "--seconds", "0")

    def render(self, *options):
        return rig.from_first_sound(rig.rendered(RENDER, self.folder, *options))

    def start(self, *options, **streams):
        program = subprocess.Popen([ZEPHRA, *map(str, options)], **streams)

        def end():
            if program.poll() is None:
                program.kill()
            program.communicate()
        self.addCleanup(end)
        return program

    def studio(self, **options):
        studio = rig.Studio(**options)
        self.addCleanup(studio.close)
        studio.connect()
        if studio.keys:
            rig.wait_for(lambda: studio.client.get_all_connections(studio.keys), "the keyboard")
        return studio

    def refused(self, *options):
        done = subprocess.run([ZEPHRA, *options], capture_output=True, text=True, check=False)
        self.assertEqual(done.returncode, 1)
        self.assertRegex(done.stderr, r"\Azephra: [^\n]+\n\Z")
        return done.stderr

    # --- Sound ---
    def test_a_song_sounds_as_it_is_rendered_sample_by_sample(self):
        song = self.folder / "song.mid"
        song.write_bytes(rig.chord_song(lead_in=3))
        program = self.start("--patch", self.patch, "--play", song, **QUIET)
        studio = self.studio(keyboard=None)
        self.assertEqual(program.wait(60), 0, "the program ends with the song")
        heard = rig.from_first_sound(studio.sound())
        own = self.render("--patch", self.patch, song)
        self.assertGreaterEqual(len(heard), len(own))
        rig.assert_equal("song", heard, own)

    def test_a_keyboard_that_appears_plays_and_one_that_is_pulled_leaves_no_note(self):
        program = self.start("--patch", self.patch, **QUIET)
        studio = self.studio()
        studio.record(0.1)
        silent = len(studio.blocks)
        studio.play((0x90, 57, 100), sample=170)
        studio.record(0.6)
        studio.play((0x80, 57, 0))
        sound = studio.sound(silent)
        first = next(i for i, value in enumerate(sound) if abs(value) > rig.AUDIBLE) // 2
        self.assertLess(first / rig.RATE, 0.1, "from key to sound")
        self.assertIn(first % rig.BLOCK, range(170, 230), "on its sample, but for the attack")
        rig.assert_alike("key", rig.from_first_sound(sound)[:rig.RATE],
                         self.render("--patch", self.patch, "--note", "57,100,0,0.6")[:rig.RATE])
        studio.wait_for_peak(is_silent, "silence")

        piano = rig.Studio(keyboard="Piano")
        rig.wait_for(lambda: piano.client.get_all_connections(piano.keys), "the connection")
        piano.play((0x90, 60, 100))
        studio.wait_for_peak(sounds, "sound")
        piano.close()
        studio.wait_for_peak(is_silent, "silence")
        program.send_signal(signal.SIGTERM)
        said = program.communicate(timeout=30)[0]
        self.assertEqual(program.returncode, 0)
        self.assertRegex(said, r"(?s)JACK, 48000 Hz, blocks of 256.*Connected: .*Keyboard")

    def test_the_server_may_change_its_block_size_and_go_and_come_back(self):
        program = self.start("--patch", self.patch, stderr=subprocess.DEVNULL, **QUIET)
        studio = self.studio()
        for size in (1024, 64):
            studio.client.blocksize = size
            studio.play((0x90, 57, 100))
            studio.wait_for_peak(sounds, "sound")
            studio.play((0x80, 57, 0))
            studio.wait_for_peak(is_silent, "silence")
        studio.close()
        self.server.stop()
        time.sleep(2.5)
        self.assertIsNone(program.poll(), "it waits")
        self.server = rig.Server()
        studio = self.studio()
        studio.play((0x90, 57, 100))
        studio.wait_for_peak(sounds, "sound")
        program.send_signal(signal.SIGINT)
        said = program.communicate(timeout=30)[0]
        self.assertEqual(program.returncode, 0)
        self.assertRegex(said, r"(?s)device has gone.*sound is back")

    # --- Choices ---
    def test_devices_and_ports_are_chosen_and_remembered(self):
        self.assertIn("JACK, 48000 Hz", rig.run(ZEPHRA, "--list-devices"))
        kept = [self.folder / "settings" / name for name in ("AudioDevice", "MidiPort")]
        for options, texts in ((["--device", "jAcK", "--midi", "none"], ["jAcK", "none"]),
                               ([], ["jAcK", "none"]),
                               (["--device", "any", "--midi", "any"], ["", ""])):
            program = self.start(*options, **QUIET)
            program.stdout.readline()
            program.send_signal(signal.SIGHUP)
            self.assertEqual(program.wait(30), 0)
            self.assertEqual([file.read_text() for file in kept], texts)
        self.assertIn("no such", self.refused("--device", "no such"))
        kept[0].write_text("unplugged")
        self.assertIn("JACK", self.start(**QUIET).stdout.readline())

    # --- The terminal ---
    def test_patches_come_from_files_and_from_the_library_to_the_terminal(self):
        for patch, name in ((self.patch, "Test"), ("showcase/bass carpet qx", "Bass Carpet QX")):
            with Terminal(self, "--patch", patch) as terminal:
                terminal.wait_for(re.escape(f"The Zephra: {name}\a"))
        for patch, what in (("nowhere.fxp", "nowhere.fxp"), (__file__, "not a patch")):
            self.assertIn(what, self.refused("--patch", patch))

    def test_computer_keys_on_the_terminal_play_and_step(self):
        with Terminal(self, "--midi", "none") as terminal:
            studio = self.studio(keyboard=None)
            for keys, shown in (("", r"Bass Carpet QX  octave 3  dropped \d+"),
                                ("\033[C", "octave 4"), (" ", "pedal"),
                                (" Zc", r"\[#+\.*\] +-?\d+ dB"),
                                ("\033[B", r"\033\]2;The Zephra: (?!Bass Carpet)[^\a]+\a"),
                                ("\033[A", r"\033\]2;The Zephra: Bass Carpet QX\a")):
                terminal.type(keys)
                terminal.wait_for(shown)
            self.assertGreater(rig.peak(studio.sound()), 0.01)
            studio.wait_for_peak(is_silent, "silence")
            terminal.type("\033")
            self.assertEqual(terminal.program.wait(30), 0)

    def test_the_terminal_is_left_as_it_was(self):
        for end in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP, signal.SIGQUIT, signal.SIGSEGV,
                    signal.SIGABRT, "\003", "\004"):
            with Terminal(self) as terminal:
                terminal.wait_for("octave 3")
                terminal.program.send_signal(signal.SIGTSTP)
                rig.wait_for(lambda: terminal.state() == terminal.found, "the terminal as it was")
                terminal.program.send_signal(signal.SIGCONT)
                rig.wait_for(lambda: terminal.state() != terminal.found, "the keys")
                if isinstance(end, str):
                    terminal.type(end)
                else:
                    terminal.program.send_signal(end)
                crashes = end in (signal.SIGSEGV, signal.SIGABRT)
                self.assertEqual(terminal.program.wait(30), -end if crashes else 0, end)
                self.assertEqual(terminal.state(), terminal.found, end)
                terminal.wait_for("\033\\[23;2t")  # the title, too


class Terminal:
    """The program on a terminal of its own."""

    def __init__(self, test, *options):
        self.screen, self.inside = pty.openpty()
        self.found = self.state()
        self.shown = ""
        self.program = test.start(*options, stdin=self.inside, stdout=self.inside,
                                  start_new_session=True,
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
            assert time.monotonic() < end, f"{pattern} was not shown: {self.shown[-500:]!r}"
            if select.select([self.screen], [], [], 1.0)[0]:
                self.shown += os.read(self.screen, 65536).decode()
        self.shown = self.shown[found.end():]


rig.needs("jack", "jackd")
unittest.main(argv=sys.argv[:1])
