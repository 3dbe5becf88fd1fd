# SPDX-License-Identifier: GPL-3.0-or-later
"""How far sounds are apart: spectrum and level of their single note over time, heard in each
one's own register."""

from dataclasses import dataclass

import numpy as np
from scipy import signal

BANDS_PER_OCTAVE = 4
OCTAVES = 9
LOWEST = 27.5  # Hz
# Borders of the time slots in seconds: narrow where things happen, at onsets and releases. The
# last five slots hold the soft note.
BORDERS = (0, 0.03, 0.07, 0.15, 0.3, 0.6, 1.0, 1.5, 2.0, 2.5, 3.0, 3.1, 3.3, 3.7, 4.5, 4.55, 4.65,
           4.9, 5.5, 6.0)
FLOOR = 50.0       # dB below the loudest cell: not heard
SHIFT_COST = 2.0   # for sounds that are alike an octave apart, per octave
MOTION_DB = 6.0    # an octave more of movement counts like so many dB
WIDTH_DB = 3.0     # mono against uncorrelated


@dataclass
class Portrait:
    cells: np.ndarray   # [time slot][band], dB below the loudest, at most FLOOR
    level: np.ndarray   # [time slot], the same
    motion: np.ndarray  # fast movement of the held note: level in dB, centroid in octaves
    width: float        # 0 mono .. 1 nothing in common


def portrait(x, rate, motion_part=(0.3, 2.9)):
    """x: samples of the single note, shape (frames, 2)."""
    size, hop = 4096, 480
    f, t, left = signal.stft(x[:, 0], rate, nperseg=size, noverlap=size - hop, padded=True)
    right = signal.stft(x[:, 1], rate, nperseg=size, noverlap=size - hop, padded=True)[2]
    power = np.square(np.abs(left)) + np.square(np.abs(right))
    band = np.floor(np.log2(np.maximum(f, 1.0) / LOWEST) * BANDS_PER_OCTAVE).astype(int)
    bands = np.array([power[band == k].sum(axis=0) for k in range(BANDS_PER_OCTAVE * OCTAVES)])
    slots = [(t >= a) & (t < b) for a, b in zip(BORDERS, BORDERS[1:])]
    cells = 10 * np.log10(np.array([bands[:, slot].mean(axis=1) for slot in slots]) + 1e-15)
    total = 10 * np.log10(np.array([bands[:, slot].sum(axis=0).mean() for slot in slots]) + 1e-15)

    held = (t > motion_part[0]) & (t < motion_part[1])
    track = bands[:, held] + 1e-12
    level = 10 * np.log10(track.sum(axis=0))
    centre = (np.arange(len(bands)) @ track) / track.sum(axis=0) / BANDS_PER_OCTAVE
    motion = np.array([np.std(detrended(level)) / 6, np.std(detrended(centre))])

    dot = float(np.dot(x[:, 0], x[:, 1]))
    both = float(np.sqrt(np.dot(x[:, 0], x[:, 0]) * np.dot(x[:, 1], x[:, 1])))
    width = 1 - max(0.0, dot / both) if both > 0 else 0.0
    return Portrait(np.maximum(cells - cells.max(), -FLOOR),
                    np.maximum(total - total.max(), -FLOOR), motion, width)


def detrended(track):
    """Without the slow course that envelopes give it."""
    return track - np.convolve(np.pad(track, 50, mode="edge"), np.ones(101) / 101, mode="valid")


def distance(a, b):
    """Between two portraits, in dB: root mean square over the cells that either is heard in."""
    options = []
    for octaves in (-2, -1, 0, 1, 2):
        shift = octaves * BANDS_PER_OCTAVE
        one = a.cells[:, max(0, shift) : a.cells.shape[1] + min(0, shift)]
        other = b.cells[:, max(0, -shift) : b.cells.shape[1] + min(0, -shift)]
        audible = np.maximum(one, other) + FLOOR  # quiet cells count less
        spectrum = np.average(np.square(one - other), weights=audible + 1e-9)
        options.append(spectrum + (SHIFT_COST * octaves) ** 2)
    level = np.mean(np.square(a.level - b.level))
    motion = np.sum(np.square(a.motion - b.motion)) * MOTION_DB**2
    width = ((a.width - b.width) * WIDTH_DB) ** 2
    return float(np.sqrt(min(options) + 0.5 * level + motion + width))


def matrix(portraits):
    """[sound][sound], zero on the diagonal."""
    count = len(portraits)
    out = np.zeros((count, count))
    for i in range(count):
        for k in range(i):
            out[i, k] = out[k, i] = distance(portraits[i], portraits[k])
    return out


def closest_pairs(table, count):
    """(distance, one, other), the closest first."""
    pairs = [(table[i, k], i, k) for i in range(len(table)) for k in range(i)]
    return sorted(pairs)[:count]
