#!/usr/bin/env python3
# SPDX-License-Identifier: GPL-3.0-or-later
"""Makes a Standard MIDI File from a score of resources/songs: make_song.py SCORE OUT.mid

The score explains its own notation. The voices play on channels of their own, treble 1, tenor 2,
bass 3, so that the bass can bend alone. Whole-number arithmetic throughout: the same bytes
everywhere.
"""

import struct
import sys

BEAT = 480  # ticks
SIXTEENTH = BEAT // 4
BAR = 4 * BEAT
TREBLE, TENOR, BASS = 0, 1, 2
LETTERS = {"C": 0, "D": 2, "E": 4, "F": 5, "G": 7, "A": 9, "B": 11}

# What a voice adds to the loudness of its bar, and how it moves inside a group of notes.
ACCENT = {TREBLE: 0, TENOR: -4, BASS: 8}
TREBLE_SHAPE = [0, 2, 6, -4, -2, 3]
SECOND_HALF = -4  # the repeat of a figure answers more softly
SLIDE = 6 * SIXTEENTH // 4  # ticks that a slide into a bass note takes


def key(name):
    """C4 is 60."""
    accidental = name.count("#") - name.count("b")
    return LETTERS[name[0]] + accidental + 12 * (int(name[-1]) + 1)


def between(start, end, part, whole):
    """Straight line from start to end, rounded."""
    return (2 * (start * (whole - part) + end * part) + whole) // (2 * whole)


class Bar:
    def __init__(self, line):
        words = line.split()
        self.number = int(words[0])
        self.loud, self.bright, self.vibrato, self.tempo = map(int, words[1:5])
        self.form, rest = words[5], words[6:]
        self.slide = bool(rest) and rest[-1] == "slide"
        self.keys = [key(word) for word in rest if word not in (":", "slide")]


class Track:
    """Events as (tick, rank, bytes); at one tick lower ranks first, then in the given order."""

    def __init__(self, name):
        self.events = []
        self.add(0, -1, b"\xff\x03" + bytes([len(name)]) + name.encode("ascii"))

    def add(self, tick, rank, data):
        self.events.append((tick, rank, data))

    def note(self, channel, start, end, note, velocity):
        self.add(start, 2, bytes([0x90 | channel, note, max(1, min(127, velocity))]))
        self.add(end, 0, bytes([0x80 | channel, note, 64]))

    def controller(self, channel, tick, number, value):
        self.add(tick, 1, bytes([0xB0 | channel, number, value]))

    def bend(self, channel, tick, value):
        """-8192..8191"""
        word = value + 8192
        self.add(tick, 1, bytes([0xE0 | channel, word & 0x7F, word >> 7]))

    def chunk(self, end):
        data, now = b"", 0
        for tick, _, event in sorted(self.events, key=lambda item: item[:2]):
            data += variable_length(tick - now) + event
            now = tick
        data += variable_length(end - now) + b"\xff\x2f\x00"
        return b"MTrk" + struct.pack(">I", len(data)) + data


def variable_length(number):
    groups = [number & 0x7F]
    while number := number >> 7:
        groups.append(0x80 | (number & 0x7F))
    return bytes(reversed(groups))


def play_treble(track, start, bar, after):
    if bar.form == "figure":
        notes = 2 * (2 * bar.keys[2:])
        places = [2, 3, 4, 5, 6, 7, 10, 11, 12, 13, 14, 15]
    elif bar.form == "bars":
        notes = bar.keys[2:]
        places = range(2, 16)
    else:
        for i, note in enumerate(bar.keys[2:]):  # the last chord is rolled upwards
            track.note(TREBLE, start + (i + 2) * SIXTEENTH // 4, start + BAR, note, bar.loud + 2 * i)
        return
    for i, (place, note) in enumerate(zip(places, notes)):
        loud = between(bar.loud, after.loud, place, 16) + TREBLE_SHAPE[i % 6]
        loud += SECOND_HALF if place >= 8 else 0
        begin = start + place * SIXTEENTH
        track.note(TREBLE, begin, begin + SIXTEENTH * 9 // 10, note, loud)


def play_held(track, channel, start, bar, after, note, delay):
    """A held voice: bass (delay 0) or tenor (delay one sixteenth)."""
    halves = [0, 8] if bar.form == "figure" else [0]
    for place in halves:
        loud = between(bar.loud, after.loud, place, 16) + ACCENT[channel]
        loud += SECOND_HALF if place else 0
        begin = start + place * SIXTEENTH + delay
        end = start + (place * SIXTEENTH + BAR // len(halves))
        gap = SIXTEENTH // 4 if bar.form != "chord" else 0
        track.note(channel, begin, end - gap, note, loud)


def play_slide(track, start):
    """The bass comes up from a whole tone below; bends span two semitones."""
    steps = 12
    for i in range(steps + 1):
        track.bend(BASS, start + SLIDE * i // steps, -8192 * (steps - i) ** 2 // steps**2)


def move(track, start, bar, after):
    """Brightness and vibrato, an eighth at a time; the bass stays darker than the rest."""
    for place in range(8):
        tick = start + place * BEAT // 2
        bright = between(bar.bright, after.bright, place, 8)
        for channel, part in ((TREBLE, 4), (TENOR, 3), (BASS, 2)):
            track.controller(channel, tick, 11, bright * part // 4)
        track.controller(TREBLE, tick, 1, between(bar.vibrato, after.vibrato, place, 8))


def make(lines):
    bars = [Bar(line) for line in lines if line.strip() and not line.startswith("#")]
    tempo, voices = Track("Tempo"), [Track("Treble"), Track("Tenor"), Track("Bass")]
    tempo.add(0, 0, b"\xff\x58\x04\x04\x02\x18\x08")  # four quarters a bar
    controllers = voices[TREBLE]

    for index, (bar, after) in enumerate(zip(bars, bars[1:])):
        start = index * BAR
        for beat in range(4):
            # Microseconds a beat.
            lengths = [60_000_000 // each.tempo for each in (bar, after)]
            micros = between(*lengths, beat, 4)
            tempo.add(start + beat * BEAT, 0, b"\xff\x51\x03" + micros.to_bytes(3, "big"))
        play_treble(voices[TREBLE], start, bar, after)
        play_held(voices[TENOR], TENOR, start, bar, after, bar.keys[1],
                  SIXTEENTH if bar.form != "chord" else SIXTEENTH // 4)
        play_held(voices[BASS], BASS, start, bar, after, bar.keys[0], 0)
        move(controllers, start, bar, after)
        if bar.slide:
            play_slide(voices[BASS], start)

    end = (len(bars) - 1) * BAR
    tracks = [tempo, *voices]
    head = b"MThd" + struct.pack(">IHHH", 6, 1, len(tracks), BEAT)
    return head + b"".join(track.chunk(end) for track in tracks)


def main():
    if len(sys.argv) != 3:
        sys.exit("usage: make_song.py SCORE OUT.mid")
    with open(sys.argv[1], encoding="utf-8") as score:
        song = make(score)
    with open(sys.argv[2], "wb") as out:
        out.write(song)


if __name__ == "__main__":
    main()
