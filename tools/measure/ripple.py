# SPDX-License-Identifier: GPL-3.0-or-later
"""The mains ripple of the output stage, and its undoing: what is left is the instrument without
the sidebands that would hide everything else."""

from functools import lru_cache

import numpy as np
from scipy import signal

from . import theory


@lru_cache(maxsize=8)
def depth(count, rate, mains=50):
    """Gain of the high-passed signal at each sample since the instrument was made."""
    step, phase = np.float32(mains / rate), np.float32(0)
    cycle = int(rate / mains) + 2
    phases = np.empty(count + cycle, np.float32)
    done = 0
    while done < count:  # one mains cycle at a time; the phase is kept, and so rounded, in 32 bits
        run = np.cumsum(np.concatenate(([phase], np.full(cycle, step))), dtype=np.float32)[1:]
        upto = int(np.argmax(run > 1))
        run[upto] -= np.float32(1)
        phases[done : done + upto + 1] = run[: upto + 1]
        phase = run[upto]
        done += upto + 1
    return theory.ripple_wave(phases[:count].astype(float)) * theory.RIPPLE_DEPTH


def undone(sound, rate, first=0, mains=50):
    """The signal before the ripple was added; `first` is its first sample's place in the render,
    which must not have slept before."""
    w = np.tan(np.pi * 11000 / rate)
    b, a = 1 / (1 + w), (w - 1) / (1 + w)
    gain = depth(first + len(sound), rate, mains)[first:]
    plain = sound
    for _ in range(7):  # each round brings it closer by a factor of forty
        plain = sound - gain * signal.lfilter([b, -b], [1, a], plain)
    return plain
