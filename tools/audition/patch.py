# SPDX-License-Identifier: GPL-3.0-or-later
"""Finds patches, has them rendered and measured."""

import os
from contextlib import suppress
from pathlib import Path

from measure.render import Job, Renderer

from . import analysis, distance, phrases, source

RATE = 48000
CACHE_BYTES = 6 << 30


class Studio:
    """Renders and measures sounds; what was rendered before by the same binary is not again.
    takes: how often phrase and chord are played, each time with other phases of the oscillators."""

    def __init__(self, renderer, cache, jobs, takes=1):
        prune(cache)
        self.takes = takes
        self.render = Renderer(renderer, cache, jobs, keep_others=True)

    def jobs(self, sound, take=0):
        """Phrase, chord and single note."""
        kind, octave = sound.phrase, sound.octave
        wheel = sound.settings.get("modwheel", 0.0)
        words, _ = phrases.phrase_words(kind, octave, wheel)
        lists = (words, phrases.chord_words(kind, octave), phrases.single_words(kind, octave))
        patch = ["--patch", sound.patch] if sound.patch else []
        settings = {} if patch else sound.settings
        options = patch + other_phases(sound, take)
        return [Job(settings, seconds=None, rate=RATE, options=options + words, files=patch[1:])
                for words in lists]

    def phrase_file(self, sound):
        return self.render.path(self.jobs(sound)[0])

    def portrait(self, sound):
        return distance.portrait(self.render(self.jobs(sound)[2]), RATE)

    def measure(self, sound):
        _, last_off = phrases.phrase_words(sound.phrase, sound.octave)
        key = phrases.played(phrases.PHRASES[sound.phrase].root, sound.octave)[0]
        if sound.phrase == "effect":
            key = None
        phrase, chord, single = self.jobs(sound)
        out = analysis.figures(self.render(phrase), last_off, self.render(chord),
                               self.render(single), RATE, key)
        takes = [self.jobs(sound, take) for take in range(self.takes)]
        out.add_takes([analysis.loudness(self.render.path(job)) for job, _, _ in takes],
                      [analysis.peak(self.render(job)) for _, job, _ in takes])
        return out


def other_phases(sound, take):
    """Options that make the instrument start its voices anew: a change of the number of voices
    does."""
    voices = sound.settings.get("polyphony", 3.0)
    return ["--set", f"polyphony={(voices + 1) % 4:g}", "--set", f"polyphony={voices:g}"] * take


def is_program(path):
    return path.endswith(".fxp")


def compiled(path):
    """The program file that the build made of this source, None if it made none since."""
    start, folder, rest = path.rpartition("resources/soundbanks/")
    program = f"{start}build/release/soundbanks/{os.path.splitext(rest)[0]}.fxp"
    if folder and os.path.exists(program) and os.path.getmtime(program) >= os.path.getmtime(path):
        return program
    return None


def prune(folder):
    """Leaves the youngest renders. Another run may do the same at this moment."""
    renders = []
    for path in Path(folder).glob("*/*.wav"):
        with suppress(FileNotFoundError):
            status = path.stat()
            renders.append((status.st_mtime, status.st_size, path))
    room = CACHE_BYTES
    for _, size, path in sorted(renders, reverse=True):
        room -= size
        if room < 0:
            path.unlink(missing_ok=True)


def files(words):
    """The sources and patches that are named, or lie below the folders that are named."""
    out = []
    for word in words:
        if os.path.isdir(word):
            below = [os.path.join(base, name) for base, _, names in os.walk(word) for name in names]
            out += sorted(path for path in below if path.endswith((".sound", ".fxp")))
        else:
            out.append(word)
    return out


def read(paths, controls, phrase=None, octave=None):
    """A Sound of each file; sources are checked, and played as what was compiled of them."""
    sounds = []
    for path in paths:
        if is_program(path):
            sound = source.Sound(path, patch=path)
        else:
            with open(path, encoding="utf-8", errors="replace") as file:
                sound = source.parse(path, file.read(), controls)
            sound.patch = compiled(os.path.abspath(path))
        if phrase:
            sound.about["phrase"] = phrase
        if octave is not None:
            sound.about["octave"] = str(octave)
        sounds.append(sound)
    codes = [source.author_code(sound.path) for sound in sounds]
    source.check_library(sounds, codes)
    return sounds
