# SPDX-License-Identifier: GPL-3.0-or-later
"""Figures of one sound from the renders of its phrase, its chord and its single note."""

import re
import subprocess
from dataclasses import dataclass

import numpy as np
from measure.analysis import db, rms
from scipy import signal

from . import phrases

LOUDNESS, LOUDNESS_SLACK = -18.0, 2.0  # LUFS, LU
CHORD_PEAK = -1.0                      # dBFS
SPREAD = 2.0                           # LU: oscillators that lock in or out of phase by chance
ENDS_WITHIN = 6.0                      # s after the last note-off
STEADY = 0.005                         # of full scale: mean of the phrase
RUMBLE = -12.0                         # dB: what lies below 25 Hz against the whole
SOFT_SPAN = -26.0                      # dB: a soft note against a firm one
PITCH = 15.0                           # cents


@dataclass
class Figures:
    loudness: float = float("nan")    # LUFS, integrated over the phrase, mean of the takes
    spread: float = 0.0               # LU between the loudest and the softest take
    peak: float = float("nan")        # dBFS, of the phrase
    chord_peak: float = float("nan")  # dBFS, of the hottest take
    attack: float = float("nan")      # s until the single note is within 3 dB of its loudest
    end: float = float("nan")         # s from the last note-off until 60 dB below; inf: never
    centroid: float = float("nan")    # Hz, mean over the phrase, in octaves and by power
    motion: float = float("nan")      # octaves, deviation of the centroid over time
    pitch: float = float("nan")       # cents from the nearest semitone; nan: no clear pitch
    correlation: float = 1.0          # left against right
    steady: float = 0.0               # mean, the larger one of the two channels
    rumble: float = float("nan")      # dB
    soft: float = float("nan")        # dB, soft note against firm note
    finite: bool = True

    def add_takes(self, loudnesses, chord_peaks):
        """LUFS and dBFS, take by take."""
        self.loudness = sum(loudnesses) / len(loudnesses)
        self.spread = max(loudnesses) - min(loudnesses)
        self.chord_peak = max(chord_peaks)

    def flags(self):
        """What is off, in words."""
        if not self.finite:
            return ["holds values that are no numbers"]
        if not self.loudness > -60:
            return ["silent"]
        out = []
        if abs(self.loudness - LOUDNESS) > LOUDNESS_SLACK:
            out.append("too loud" if self.loudness > LOUDNESS else "too quiet")
        if self.chord_peak >= CHORD_PEAK:
            out.append(f"four notes peak at {self.chord_peak:+.1f} dBFS")
        if self.peak >= CHORD_PEAK:
            out.append(f"phrase peaks at {self.peak:+.1f} dBFS")
        if self.spread > SPREAD:
            out.append(f"takes differ by {self.spread:.1f} LU")
        if self.end == float("inf"):
            out.append("never ends")
        elif self.end > ENDS_WITHIN:
            out.append("ends late")
        if self.steady > STEADY:
            out.append("DC")
        if self.rumble > RUMBLE:
            out.append("rumble below 25 Hz")
        if self.soft < SOFT_SPAN:
            out.append("hardly heard when played softly")
        if abs(self.pitch) > PITCH:
            out.append("out of tune")
        return out


def loudness(path):
    """Integrated loudness of a file, LUFS; -70 is silence."""
    run = subprocess.run(["ffmpeg", "-hide_banner", "-nostats", "-i", path,
                          "-filter:a", "ebur128=framelog=verbose", "-f", "null", "-"],
                         capture_output=True, text=True)
    found = re.findall(r"I:\s+(-?[\d.]+|-inf|nan) LUFS", run.stderr)
    if run.returncode or not found:
        raise RuntimeError(f"ffmpeg: {(run.stderr.strip() or 'no output').splitlines()[-1]}")
    return float(found[-1])


def level(x, rate, window=0.02, hop=0.002):
    """Level of both channels together over the window that ends there, in dB, one value per hop."""
    power = np.mean(np.square(x), axis=1)
    sums = np.cumsum(np.concatenate([np.zeros(int(window * rate) + 1), power]))
    mean = (sums[int(window * rate) :] - sums[: -int(window * rate)]) / int(window * rate)
    return 10 * np.log10(np.maximum(mean[:: int(hop * rate)], 1e-15))


def attack_seconds(x, rate, hop=0.002):
    """Until 3 dB below the loudest place."""
    curve = level(x, rate, hop=hop)
    return float(np.argmax(curve >= curve.max() - 3)) * hop


def end_seconds(x, rate, last_off, cut, hop=0.01):
    """From the last note-off until the level stays 60 dB below its top. cut: the renderer stopped
    before the sound did."""
    curve = level(x, rate, 0.05, hop)
    heard = np.flatnonzero(curve > curve.max() - 60)
    if cut and len(curve) - heard[-1] < 0.2 / hop:
        return float("inf")
    return max(0.0, float(heard[-1]) * hop - last_off)


def centroid_track(x, rate):
    """Centre of the power spectrum in log2 Hz and the power, frame by frame."""
    f, _, s = signal.stft(x, rate, nperseg=2048, noverlap=1024, boundary=None)
    power = np.square(np.abs(s))[1:]
    total = power.sum(axis=0)
    return (np.log2(f[1:]) @ power) / np.maximum(total, 1e-20), total


def pitch_cents(x, rate, key):
    """Distance of a held note from the nearest semitone in cents, the middle of a detuned group;
    nan where tones hold less than a third of the sound."""
    size = 1 << 18
    power = np.square(np.abs(np.fft.rfft(x * signal.windows.hann(len(x), sym=False), size)))
    step = rate / size

    def around(hz, cents):
        """Bins within so many cents of a frequency."""
        reach = 2 ** (cents / 1200)
        low = int(hz / reach / step)
        return low, power[low : int(hz * reach / step) + 2]

    def held(hz):
        return sum(around(hz * n, 50)[1].max(initial=0) ** 0.5 / n**0.5 for n in range(1, 9))

    hz = max((440 * 2 ** ((key - 69 + k) / 12) for k in range(-26, 27)), key=held)
    if sum(around(hz * n, 60)[1].sum() for n in range(1, 17)) < power[int(25 / step) :].sum() / 3:
        return float("nan")
    for _ in range(4):
        places = []
        for n in range(1, 9):
            low, part = around(hz * n, 60)
            if part.sum() > 0:
                middle = (low + np.dot(np.arange(len(part)), part) / part.sum()) * step / n
                places.append((middle, part.sum()))
        hz = float(np.average([p[0] for p in places], weights=[p[1] for p in places]))
    return float((1200 * np.log2(hz / 440) + 50) % 100 - 50)


def rumble(x, rate):
    """Share of the power below 25 Hz in dB."""
    f, power = signal.welch(x, rate, nperseg=1 << 15)
    return float(10 * np.log10(max(power[f < 25].sum() / max(power.sum(), 1e-30), 1e-12)))


def peak(x):
    """dBFS"""
    return float(db(np.abs(x).max()))


def figures(phrase, last_off, chord, single, rate, key):
    """All but what add_takes adds. phrase, chord, single: samples, shape (frames, 2); key: that of
    the single note, None for sounds that need not be in tune."""
    out = Figures()
    out.finite = all(bool(np.isfinite(x).all()) for x in (phrase, chord, single))
    if not out.finite or rms(phrase) < 1e-5:
        return out
    out.peak = peak(phrase)
    out.steady = float(np.abs(phrase.mean(axis=0)).max())
    longest = last_off + 29.5  # the renderer gives a tail half a minute
    out.end = end_seconds(phrase, rate, last_off, cut=len(phrase) > longest * rate)

    mid = phrase.mean(axis=1)
    if rms(mid) < 1e-3 * rms(phrase):
        mid = phrase[:, 0]
    centres, power = centroid_track(mid, rate)
    loud = power > power.max() * 1e-4
    mean = float(np.average(centres[loud], weights=np.sqrt(power[loud])))
    out.centroid = 2 ** mean
    out.motion = float(np.sqrt(np.average(np.square(centres[loud] - mean),
                                          weights=np.sqrt(power[loud]))))
    left, right = phrase[:, 0], phrase[:, 1]
    both = np.sqrt(np.dot(left, left) * np.dot(right, right))
    out.correlation = float(np.dot(left, right) / max(1e-20, both))
    out.rumble = rumble(mid, rate)

    on, off, _ = phrases.LONG
    held = single[int(on * rate) : int(off * rate)]
    if rms(held) > 1e-5:
        out.attack = attack_seconds(held, rate)
        if key is not None:
            out.pitch = pitch_cents(held[int(0.15 * rate) :].mean(axis=1), rate, key)
        soft = single[int(phrases.SOFT[0] * rate) : int(phrases.SOFT[1] * rate)]
        same = held[: len(soft)]
        out.soft = float(level(soft, rate).max() - level(same, rate).max())
    return out
