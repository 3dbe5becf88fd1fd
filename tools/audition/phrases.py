# SPDX-License-Identifier: GPL-3.0-or-later
"""What a sound is judged by: a short piece for each kind of sound, a chord and a single note."""

from dataclasses import dataclass

NAMES = {"C": 0, "D": 2, "E": 4, "F": 5, "G": 7, "A": 9, "B": 11}


def key_number(name):
    """MIDI key of a name like C4 (60), F#2 or Bb3."""
    accidental = name.count("#", 1) - name.count("b", 1)
    return NAMES[name[0]] + accidental + 12 * (int(name[-1]) + 1)


@dataclass(frozen=True)
class Phrase:
    tempo: float   # beats a minute
    notes: tuple   # (beat, length in beats, keys, velocity)
    chord: str     # four keys held together at velocity 127
    root: str      # the single note
    wheel: tuple   # (beat, position 0..1), straight lines between; only in the second half
    touch: tuple = ()  # channel pressure, the same

    def seconds(self, beats):
        return beats * 60 / self.tempo


# Overlapping notes glide and tie in mono sounds; rests show releases and echoes.
PHRASES = {
    "bass": Phrase(112, (
        (0, 0.7, "A1", 112), (0.75, 0.2, "A1", 64), (1.5, 0.4, "A2", 96), (2, 0.45, "G1", 84),
        (2.5, 0.9, "A1", 108), (3.5, 0.55, "C2", 90), (4, 0.7, "D2", 112), (4.75, 0.2, "D2", 58),
        (5.5, 0.4, "D3", 100), (6, 0.55, "C2", 88), (6.5, 0.55, "A1", 96), (7, 0.95, "E1", 118),
        (8, 1.6, "F1", 104), (9.5, 0.6, "A1", 80), (10, 0.45, "C2", 92), (10.5, 0.45, "F2", 110),
        (11, 0.3, "E2", 70), (11.5, 0.3, "C2", 76), (12, 2.6, "A1", 120)),
        chord="A1 E2 A2 C3", root="A1", wheel=((10, 0), (12, 0.4), (14, 1))),
    "stabs": Phrase(120, (
        (0, 0.4, "A3 C4 E4 G4", 112), (1.5, 0.3, "A3 C4 E4 G4", 78), (2.5, 0.3, "A3 C4 E4 G4", 96),
        (4, 0.4, "F3 A3 C4 E4", 112), (5.5, 0.3, "F3 A3 C4 E4", 70), (6.5, 0.3, "G3 B3 D4", 100),
        (7, 0.5, "G3 B3 D4 F4", 118), (8, 0.4, "D4 F4 A4", 110), (9.5, 0.3, "D4 F4 A4", 60),
        (10.5, 0.3, "D4 F4 A4 C5", 104), (12, 0.4, "E4 G#4 B4", 120), (13, 0.3, "E4 G#4 B4", 84),
        (14, 1.5, "E4 G#4 B4 D5", 114)),
        chord="A3 C4 E4 G4", root="A3", wheel=((10, 0), (14, 1))),
    "lead": Phrase(108, (
        (0, 1.1, "A4", 100), (1, 0.55, "C5", 88), (1.5, 0.55, "D5", 92), (2, 1.4, "E5", 112),
        (3.5, 0.3, "D5", 72), (4, 0.6, "C5", 84), (4.5, 0.6, "A4", 78), (5, 1.1, "G4", 96),
        (6, 1.8, "A4", 104), (8, 0.3, "E5", 108), (8.5, 0.3, "E5", 66), (9, 0.6, "G5", 116),
        (9.5, 0.6, "E5", 90), (10, 0.6, "D5", 94), (10.5, 0.6, "C5", 80), (11, 3.2, "E5", 120)),
        chord="A4 C5 E5 A5", root="A4", wheel=((11.5, 0), (13.5, 1)), touch=((11, 0), (12.5, 0.7))),
    "pad": Phrase(100, (
        (0, 4.1, "A2 E3 B3 C4", 84), (4, 3.4, "F2 C3 A3 E4", 96), (7.8, 3.0, "D3 A3 C4 F4", 76),
        (10.5, 3.3, "E3 B3 D4 G#4", 104)),
        chord="A2 E3 B3 C4", root="A3", wheel=((7, 0), (12, 1)), touch=((10.5, 0), (12.5, 0.7))),
    "keys": Phrase(104, (
        (0, 1.9, "A2", 92), (0, 1.8, "C4 E4 G4", 86), (1.5, 0.4, "B4", 74), (2, 0.9, "C5", 100),
        (3, 0.9, "G4", 70), (4, 1.9, "F2", 96), (4, 0.4, "C4 E4 A4", 104), (5, 0.9, "C4 E4", 52),
        (6, 0.45, "A4", 84), (6.5, 0.45, "C5", 92), (7, 0.9, "E5", 112), (8, 1.9, "D3", 88),
        (8, 1.5, "F4 A4 C5", 80), (9.5, 0.4, "D5", 64), (10, 0.4, "A3 C4 F4", 108),
        (10.5, 0.4, "A3 C4 F4", 58), (11, 0.9, "E5", 96), (12, 2.4, "E2", 100),
        (12, 2.4, "G#3 D4 G4 B4", 112)),
        chord="A3 C4 E4 G4", root="A3", wheel=((8, 0), (10, 0.5), (12, 1))),
    "effect": Phrase(110, (
        (0, 3.2, "C4", 100), (4, 0.3, "C4", 64), (5, 0.3, "G4", 110), (6, 1.6, "C3", 120),
        (8, 5.0, "F3", 96), (10, 3.0, "C4", 112)),
        chord="C3 G3 C4 G4", root="A3", wheel=((9, 0), (12, 1)), touch=((10, 0), (12, 0.7))),
}

CHORD_SECONDS = 3.0

# The single note: a long one at velocity 100, then a soft one.
LONG = (0.0, 3.0, 100)   # seconds on, off, velocity
SOFT = (4.5, 5.5, 40)
SINGLE_SECONDS = 6.5


def moves(phrase, points, start=0.0):
    """(seconds, position) along the lines between the points, from `start` instead of zero; a
    wheel that a patch has turned up goes down."""
    step = 0.125
    reach = (0 if start > 0.5 else 1) - start
    out = []
    for (from_beat, low), (to_beat, high) in zip(points, points[1:]):
        count = round((to_beat - from_beat) / step)
        for k in range(count + 1):
            place = low + (high - low) * k / count
            out.append((phrase.seconds(from_beat + k * step), start + reach * place))
    return out


def played(keys, octave):
    return [max(0, min(127, key_number(name) + 12 * octave)) for name in keys.split()]


def phrase_words(kind, octave, wheel_start=0.0):
    """Command line of the phrase, and the second in which its last note ends."""
    phrase = PHRASES[kind]
    words = ["--tempo", f"{phrase.tempo:g}"]
    for beat, length, keys, velocity in phrase.notes:
        on, off = phrase.seconds(beat), phrase.seconds(beat + length)
        for key in played(keys, octave):
            words += ["--note", f"{key},{velocity},{on:.4f},{off:.4f}"]
    for at, place in moves(phrase, phrase.wheel, wheel_start):
        words += ["--cc", f"1,{round(127 * place)},{at:.4f}"]
    for at, place in moves(phrase, phrase.touch):
        words += ["--pressure", f"{round(127 * place)},{at:.4f}"]
    return words, max(phrase.seconds(note[0] + note[1]) for note in phrase.notes)


def chord_words(kind, octave):
    words = ["--tempo", f"{PHRASES[kind].tempo:g}", "--seconds", f"{CHORD_SECONDS:g}"]
    for key in played(PHRASES[kind].chord, octave):
        words += ["--note", f"{key},127,0,{CHORD_SECONDS:g}"]
    return words


def single_words(kind, octave):
    key = played(PHRASES[kind].root, octave)[0]
    words = ["--tempo", f"{PHRASES[kind].tempo:g}", "--seconds", f"{SINGLE_SECONDS:g}"]
    for on, off, velocity in (LONG, SOFT):
        words += ["--note", f"{key},{velocity},{on:g},{off:g}"]
    return words
