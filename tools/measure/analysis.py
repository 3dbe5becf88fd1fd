# SPDX-License-Identifier: GPL-3.0-or-later
"""Frequencies, levels and transfer functions of recorded signals."""

from functools import lru_cache

import numpy as np
from scipy import signal

TINY = 1e-30


def db(x):
    return 20 * np.log10(np.maximum(np.abs(x), TINY))


def rms(x):
    return float(np.sqrt(np.mean(np.square(x))))


@lru_cache(maxsize=8)
def four_term(count):
    """Side lobes below -92 dB."""
    return signal.windows.blackmanharris(count, sym=False)


@lru_cache(maxsize=8)
def steep(count):
    """Side lobes below -180 dB, twelve bins to a side."""
    return signal.windows.kaiser(count, 38, sym=False)


def spectrum(x, rate):
    """Frequencies and amplitudes of sines."""
    window = four_term(len(x))
    return np.fft.rfftfreq(len(x), 1 / rate), 2 * np.abs(np.fft.rfft(x * window)) / window.sum()


def steep_spectrum(x, rate):
    """The same for alias products far below the signal."""
    window = steep(len(x))
    return np.fft.rfftfreq(len(x), 1 / rate), 2 * np.abs(np.fft.rfft(x * window)) / window.sum()


def phasor(x, rate, hz):
    """Complex amplitude of the component at hz (phase counted from the first sample)."""
    window = four_term(len(x))
    turn = np.exp(-2j * np.pi * hz / rate * np.arange(len(x)))
    return 2 * np.dot(x * window, turn) / window.sum()


def tone_hz(x, rate, guess):
    """Frequency of the tone next to guess, from the phase it gains between two long windows."""
    hz = guess
    span = int(len(x) * 0.6)
    step = len(x) - span
    for hop in (step // 64, step // 8, step):
        turn = phasor(x[hop : hop + span], rate, hz) / phasor(x[:span], rate, hz)
        late = np.angle(turn * np.exp(-2j * np.pi * hz * hop / rate))
        hz += late / (2 * np.pi * hop) * rate
    return hz


def pitch_hz(x, rate, guess):
    """Fundamental of a harmonic sound, read from a strong harmonic around 2 kHz."""
    number = max(1, int(2000 / guess))
    return tone_hz(x, rate, guess * number) / number


def transfer(x, y, rate, seconds=1.0):
    """Frequencies, y over x by averaged cross-spectra, and their coherence."""
    segment = int(seconds * rate)
    f, sxy = signal.csd(x, y, rate, nperseg=segment)
    sxx = signal.welch(x, rate, nperseg=segment)[1]
    syy = signal.welch(y, rate, nperseg=segment)[1]
    return f, sxy / np.maximum(sxx, TINY), np.abs(sxy) ** 2 / np.maximum(sxx * syy, TINY)


def crossing(f, level, threshold, falling=True):
    """First place where level passes threshold, linear between points; nan if never."""
    inside = level < threshold if falling else level > threshold
    hits = np.flatnonzero(inside)
    if len(hits) == 0 or hits[0] == 0:
        return float("nan")
    k = hits[0]
    part = (threshold - level[k - 1]) / (level[k] - level[k - 1])
    return f[k - 1] + part * (f[k] - f[k - 1])


def smooth_octaves(f, power, fraction=12):
    """Mean power in bands of 1/fraction octave: centre frequencies, powers."""
    edges = 2 ** np.arange(np.log2(15), np.log2(f[-1]), 1 / fraction)
    which = np.digitize(f, edges)
    centres, values = [], []
    for k in range(1, len(edges)):
        part = power[which == k]
        if len(part):
            centres.append(np.sqrt(edges[k - 1] * edges[k]))
            values.append(part.mean())
    return np.array(centres), np.array(values)
