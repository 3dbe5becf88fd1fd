# SPDX-License-Identifier: GPL-3.0-or-later
"""Delay and reverb as formulas and, for the reverb's tank, as a simulation in double precision."""

import numpy as np
from scipy import signal

from . import theory
from .chain import smoothing, z_inverse

NOTE_LENGTHS = ["1/2*", "1/2", "1/2T", "1/4*", "1/4", "1/4T", "1/8*", "1/8", "1/8T", "1/16*", "1/16",
                "1/16T", "1/32*", "1/32", "1/32T"]


# Delay --------------------------------------------------------------------------------------------

def delay_units(index):
    """Length in 1/256 of a whole note; triplets are held in 32 bits."""
    plain = 256 / 2 ** (index // 3)
    return (1.5 * plain, plain, float(np.float32(plain * 2 / 3)))[index % 3]


def delay_samples(index, bpm, rate):
    mask = 0x1FFFF if rate <= 50000 else 0x3FFFF if rate <= 150000 else 0x7FFFF
    return max(min(int(0.9375 * rate / bpm * delay_units(index)), mask), int(0.02 * rate))


def delay_feedback(knob):
    return 0.95 * knob + 0.0001


def delay_wet(knob):
    return 0.999 * knob + 0.0001


def delay_response(f, rate, samples, feedback_knob):
    """Complex wet response, left and right, before the width."""
    z = z_inverse(f, rate)
    feedback = delay_feedback(feedback_knob)
    h = smoothing(10, rate)
    high = 1 - h / (1 - (1 - h) * z)
    w = np.tan(np.pi * 4000 / rate)
    s = (1 - z) / (1 + z + 1e-12)
    low = w * w / (s * s + 1.414 * w * s + w * w)
    coefficient = 0.215 - 0.215 * feedback
    half = z ** (samples // 2)
    wet = []
    for own, source in ((int(292 * rate / 48000), 1.0), (int(311 * rate / 48000), feedback * half)):
        loop = z ** (samples - own) * (z ** own - coefficient) / (1 - coefficient * z ** own) * high
        wet.append(loop * feedback * source / (1 - feedback * loop * low))
    return wet[0], wet[1] + half


# Reverb -------------------------------------------------------------------------------------------

TIMES = np.array([0.6, 1.152, 1.44, 1.93, 2.6, 3.7, 5.7, 12, 70])
DAMPING = [0.098017, 0.290285, 0.471397, 0.634393, 0.77301, 0.881921, 0.95694, 0.995185]


def reverb_seconds(knob):
    return float(np.interp(8 * knob, np.arange(9), TIMES))


def low_band_seconds(time_knob, colour):
    return min(reverb_seconds(time_knob) * theory.geometric(1 - colour, 0.25, 4), 70.0)


def list_position(seconds):
    """Where a time stands in the list, 0..1."""
    if seconds < TIMES[0]:
        return seconds / TIMES[0] * 0.125
    j = min(int(np.searchsorted(TIMES, seconds, "right")) - 1, 7)
    return min(1.0, (j + (seconds - TIMES[j]) / (TIMES[j + 1] - TIMES[j])) * 0.125)


def reverb_wet(knob):
    return 0.99 * knob * knob + 0.0001


def input_low_pass(f, rate):
    """Order 16 at 8 kHz."""
    z = z_inverse(f, rate)
    w = np.tan(np.pi * 8000 / rate)
    s = (1 - z) / (1 + z + 1e-12)
    out = 1.0
    for damping in DAMPING:
        out = out * w * w / (s * s + 2 * damping * w * s + w * w)
    return out


def tank_delays(rate):
    r = rate / 16000
    n = int(40 * rate / 44100)
    n -= n % 2 == 0
    c = (n - 2) // 4
    d7 = [int(123 * r - c), int(65 * r - c)]
    return {
        0: [int(109 * r), int(94 * r)], 1: [int(179 * r), int(150 * r)], 2: [int(356 * r), int(244 * r)],
        3: [int(681 * r), int(691 * r)], 4: [int(886 * r), int(924 * r)], 5: [int(422 * r), int(391 * r)],
        6: [int(569 * r), int(679 * r)], 7: d7, 8: [int(872 * r), int(42.6 * r)],
        9: [int(499.6 * r - d7[0] - c), int(741.333 * r - d7[1] - c)],
        10: [int(624.6 * r - d7[0] - c), int(616.6666666667 * r - d7[1] - c)],
        12: [int(382 * r), int(137 * r)],
    }


def wander(count, rate):
    """The slow walk of the modulated reads, from the instrument's first sample with effects on: its
    generator is private and has a fixed seed."""
    state = (8 + 1) * 2654435761 & 0xFFFFFFFF
    step = 1 / (1.3 * rate)
    place = target = 0.0
    out = np.empty(count)
    for n in range(count):
        away = place - target
        if abs(away) <= step:
            state = state * 214013 + 2531011 & 0xFFFFFFFF
            target = (state >> 16 & 0x7FFF) / 32767
        else:
            place += step if away < 0 else -step
        out[n] = place
    return out


def simulate_tank(settings, rate, sound, start=0):
    """The tank's output before its width, (samples, settings, 2), for a mono sound in front of the
    input low-pass; settings are (time, colour) knobs. `start` samples have passed in silence."""
    sections = signal.butter(16, 8000, fs=rate, output="sos")
    sound = signal.sosfilt(sections, np.concatenate(([0.0], sound[:-1])))
    walk = wander(start + len(sound), rate)[start:] * 170 / 1.5
    settings = list(settings)
    many = len(settings)
    high_position = np.array([t for t, _ in settings], float)
    low_position = np.array([min(1.0, list_position(low_band_seconds(t, c))) for t, c in settings])
    low_gain, high_gain = (0.97 * p ** 0.9 + 0.03 for p in (low_position, high_position))
    v = np.maximum(low_position, high_position)
    k1, k2 = 0.44 * v ** 0.29 + 0.1, 0.47 * v ** 0.7 + 0.15
    a1, a2, a3 = 0.65, 0.546, 0.25
    g1, g2, g3, g4 = 0.98, 0.3945 / 0.9284, 0.215 / -0.9284, 0.0815 / 0.8
    c5, c540, c12k = (smoothing(hz, rate) for hz in (5, 540, 12000))
    d = tank_delays(rate)
    length = 1 << int(np.ceil(np.log2(max(2048, int(1000 * rate / 16000)))))
    rings = np.zeros((2, 11, length, many))
    feedback, smooth, cross, blocker = (np.zeros((2, many)) for _ in range(4))
    out = np.empty((len(sound), many, 2))

    for n in range(len(out)):
        x = sound[n]
        smooth += (feedback - smooth) * c12k
        acc = np.zeros((2, many))
        for ch in (0, 1):
            ring = rings[ch]
            at = n % length
            back = lambda which, delay: ring[which][(n - delay) % length]  # noqa: E731
            f = -smooth[1 - ch]
            cross[ch] += (f - cross[ch]) * c540
            t = x + cross[ch] * low_gain + (f - cross[ch]) * high_gain
            for which, a in ((0, a1), (1, a2)):
                z = back(which, d[which][ch])
                write = t + a * z
                ring[which][at] = write
                t = z - a * write
            ring[7][at] = t
            s = back(7, d[7][ch])
            acc[ch] += g1 * s

            inner = back(3, d[4][ch])
            read = back(2, d[2][ch])
            write = read + a3 * inner
            ring[3][at] = write
            read = inner - a3 * write
            write = s + k1 * read
            ring[2][at] = write
            ring[9][at] = read - k1 * write
            e = back(9, d[9][ch])
            acc[ch] += g2 * e
            acc[1 - ch] += g3 * back(9, d[10][ch])

            place = d[3][ch] + (walk[n] if ch == 0 else -walk[n])
            whole = int(place)
            part = int((place - whole) * 128) / 128
            z = back(4, whole) + (back(4, whole + 1) - back(4, whole)) * part
            inner = back(6, d[6][ch])
            middle = back(5, d[5][ch])
            write = middle + a3 * inner
            ring[6][at] = write
            middle = inner - a3 * write
            write = z + a3 * middle
            ring[5][at] = write
            z = middle - a3 * write
            write = e + k2 * z
            ring[4][at] = write
            ring[10][at] = z - k2 * write
            acc[ch] += g4 * back(10, d[12][ch])
            feedback[ch] = -back(10, d[8][ch])
        blocker += (acc - blocker) * c5
        acc = acc - blocker
        out[n] = acc.T
    return out
