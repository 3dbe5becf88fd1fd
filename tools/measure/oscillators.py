# SPDX-License-Identifier: GPL-3.0-or-later
"""The oscillators in double precision, whole signals at a time."""

import numpy as np
from scipy.interpolate import PchipInterpolator
from scipy.signal import lfilter

from . import theory

# Duty thresholds: [wave][oscillator], Osc 1 differs in Early.
THRESHOLDS = {4: (0.49943751, 0.506, 0.4908125), 5: (0.274, 0.2815, 0.2703125),
              6: (0.128, 0.13244376, 0.1260625)}
EARLY_OSC_1 = {4: 0.516, 5: 0.6969, 6: 0.81257}
LEVEL = [1.07, 0.631, 1.05, -1.05, 1, 1, 1]

# Every 2,048th entry of the two stored shapes, the rows around their bottoms and their harmonics.
SHAPE_INDEX = np.array(list(range(0, 32768, 2048)) + [32767])
SHAPE_LATE = np.array([0.99641, 0.77541, 0.53045, 0.27999, 0.02708, -0.22723, -0.48242, -0.73822,
                       -0.97376, -0.78000, -0.53473, -0.28288, -0.02834, 0.22765, 0.48457, 0.74211, 1.0])
SHAPE_EARLY = np.array([0.98210, 0.77433, 0.52604, 0.26930, 0.01185, -0.24693, -0.50819, -0.76668,
                        -0.97268, -0.75471, -0.51424, -0.27085, -0.02324, 0.22581, 0.47414, 0.72647, 0.99997])
BOTTOM_LATE = [(15872, -0.93024), (16896, -0.94503)]
BOTTOM_EARLY = [(15872, -0.95310), (16239, -0.97680), (16896, -0.92543)]
HARMONICS_LATE = [0.8189, 0.0022, 0.0871, 0.0011, 0.0301, 0.0008, 0.0148, 0.0006, 0.0087]
HARMONICS_EARLY = [0.8150, 0.0133, 0.0868, 0.0061, 0.0301, 0.0033, 0.0148, 0.0025, 0.0087]


def _shape(values, bottom, wanted):
    """A curve through the rows, its harmonics 1 to 9 then drawn to the wanted magnitudes."""
    points = dict(zip(SHAPE_INDEX.tolist(), values.tolist()))
    points.update(bottom)
    x = np.array(sorted(points))
    table = PchipInterpolator(x, [points[i] for i in x])(np.arange(32768))
    bins = np.fft.rfft(table)
    for k, magnitude in enumerate(wanted, 1):
        bins[k] *= magnitude * 32768 / 2 / abs(bins[k])
    return np.fft.irfft(bins)


_tables = {}


def shape(early):
    if early not in _tables:
        _tables[early] = (_shape(SHAPE_EARLY, BOTTOM_EARLY, HARMONICS_EARLY) if early
                          else _shape(SHAPE_LATE, BOTTOM_LATE, HARMONICS_LATE))
    return _tables[early]


def step_before(t):
    """Share of a unit step that the sample before it already holds back or adds."""
    t = np.clip(t, 0, 1)
    return t ** 3 - 0.5 * t ** 4


def steps(edge, t):
    """Corrections of unit steps up: `edge` marks samples with a step, t its place in the sample."""
    now = np.where(edge, step_before(t), 0.0)
    after = np.where(edge, -step_before(1 - t), 0.0)
    return now + np.concatenate(([0.0], after[:-1]))


def ramp(phase, inc):
    """0..1 rising, one sample late, its wrap spread over two samples."""
    advanced = phase + inc
    wrap = advanced >= 1
    late = phase
    return late - steps(wrap, (advanced - 1) / inc)


def pulse(phase, inc, threshold):
    advanced = phase + inc
    up = (phase < threshold) & (advanced >= threshold) | (advanced - 1 >= threshold)
    wrap = advanced >= 1
    rise = np.where(advanced - 1 >= threshold, advanced - 1, advanced) - threshold
    naive = (phase >= threshold).astype(float)
    return naive + steps(up, rise / inc) - steps(wrap, (advanced - 1) / inc)


def voice_rate(wave, oscillator, early, hz, rate, seconds):
    """The oscillator at eight times the rate, times the level factor of its wave."""
    fs8 = theory.OVERSAMPLING * rate
    inc = hz / fs8
    phase = np.mod(0.4995 + inc * np.arange(int(seconds * fs8)), 1.0)
    if wave >= 4:
        threshold = THRESHOLDS[wave][oscillator - 1]
        if early and oscillator == 1:
            threshold = EARLY_OSC_1[wave]
        out = 2 * pulse(phase, inc, threshold) - 1
    elif wave >= 2:
        a = ramp(phase, inc)
        if early and wave == 2 and oscillator < 3:
            a = 0.735835 * (12 + 6 * a + a * a) / (12 - 6 * a + a * a) - 1
        out = 2 * a - 1
    else:
        place = np.mod(phase * 32768 + (16128 if early else 16384), 32768)
        index = place.astype(int)
        table = shape(early)
        if early and wave == 1 and oscillator < 3:
            table = table - 0.025 * np.sin(4 * np.pi * np.arange(32768) / 32768)
        t = table[index] + (table[(index + 1) % 32768] - table[index]) * (place - index)
        c = 2 * phase + inc - 1
        after = phase + inc
        c = np.where(after >= 1, c - 2 * (after - 1) / inc, c)
        if wave == 1:
            out = -t - (0.23 if early else 0.215) * c
        elif early:
            out = t
        else:
            a200 = 1 - np.exp(-2 * np.pi * 200 / fs8)
            out = t + 0.06 * lfilter([a200], [1, a200 - 1], c)
    return out * LEVEL[wave]


def folded(sound, rate, response):
    """The voice-rate signal after a linear path with the decimator in it, at the host rate."""
    fs8 = theory.OVERSAMPLING * rate
    n = len(sound) // 16 * 16
    bins = np.fft.rfft(sound[:n])
    f = np.fft.rfftfreq(n, 1 / fs8)
    bins *= np.interp(f, f[::64], response(f[::64]).real) + 1j * np.interp(
        f, f[::64], response(f[::64]).imag)
    return np.fft.irfft(bins, n)[::8]
