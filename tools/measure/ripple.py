# SPDX-License-Identifier: GPL-3.0-or-later
"""The mains ripple of the output stage, and its undoing: what is left is the instrument without
the sidebands that would hide everything else."""

from functools import lru_cache

import numpy as np

from . import theory


@lru_cache(maxsize=8)
def depth(count, rate, mains=50):
    """Gain of the high-passed signal at each sample since the instrument was made."""
    phase, step, one = np.float32(0), np.float32(mains / rate), np.float32(1)
    phases = np.empty(count, np.float32)
    for n in range(count):  # the phase is kept, and so rounded, in 32 bits
        phase = phase + step
        if phase > one:
            phase = phase - one
        phases[n] = phase
    return theory.ripple_wave(phases.astype(float)) * theory.RIPPLE_DEPTH


def undone(sound, rate, first=0, mains=50):
    """The signal before the ripple was added; `first` is its first sample's place in the render,
    which must not have slept before."""
    w = np.tan(np.pi * 11000 / rate)
    b, a = 1 / (1 + w), (w - 1) / (1 + w)
    before = high = 0.0
    out = np.empty(len(sound))
    for n, (y, m) in enumerate(zip(sound.tolist(), depth(first + len(sound), rate, mains)[first:].tolist())):
        # y = x + m * ((x - before) * b - high * a), solved for x
        x = (y + m * (before * b + high * a)) / (1 + m * b)
        high = (x - before) * b - high * a
        before = x
        out[n] = x
    return out
