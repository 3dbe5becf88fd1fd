# SPDX-License-Identifier: GPL-3.0-or-later
"""Curves of drive and amplifier saturation."""

import matplotlib.pyplot as plt
import numpy as np
from scipy import signal

from .. import ripple, theory
from ..analysis import db, rms
from ..render import Job
from ..setup import BARE, ENGINES, SETTLED

TITLE = "Drive and saturation"
RATE = 48000
SMALL = 0.1  # mixer level at which the path is linear to half a thousandth
CASES = [("drive 0", 0, 0), ("drive 0.25", 0.25, 0), ("drive 0.5", 0.5, 0), ("drive 1", 1, 0),
         ("saturation 0.3", 0.0781, 0.3), ("saturation 1", 0.0781, 1)]


def triangle(early, level, drive, saturation):
    settings = {**BARE, "opts_revision": early, "osc_1_waveform": 0, "osc_2_waveform": 0,
                "osc_3_waveform": 0, "opts_osc_1_phase": 0.5, "mixer_osc_1": level, "mixer_drive": drive,
                "opts_amp_saturation": saturation}
    return Job(settings, [(60, 100, 0, 9)], SETTLED + 0.6, RATE)


def settled(sound):
    first = int(SETTLED * RATE)
    return ripple.undone(sound[first:, 0], RATE, first)[2000:]


def without_blocker(sound, hz):
    """Takes the last DC blocker back, but for the mean."""
    c = np.tan(np.pi * hz / RATE)
    return signal.lfilter([1, c - 1], [1 - c, c - 1], sound - sound.mean())


def through_amplifier(z, saturation, early):
    """z: filter output times compensation."""
    a = theory.AMP_CEILING
    z = z - 0.02 * a if early else theory.th(z) - 0.001 * a
    return 2 * theory.th(a * z * theory.saturation_gain(saturation))


def measure(page, render):
    page.text("""A triangle at C4 with the filter open, so slow that the ladder passes it unbent: the curves
        are those of the amplifier, th behind th in Late and one th in Early, reached through the
        drive of 0.325 plus the knob. A quiet render is the input, its level scaled; the loud one
        is laid over the formula.""")
    figure, axes = plt.subplots(1, 2, figsize=(12, 5), sharey=True)
    for (name, early), plot in zip(ENGINES, axes):
        sounds = [settled(s) for s in render.batch(
            [triangle(early, SMALL, 0, 0)] + [triangle(early, 1, d, s) for _, d, s in CASES])]
        quiet = without_blocker(sounds[0], 16 if early else 24.4)
        quiet = (quiet - quiet.mean()) / (2 * theory.AMP_CEILING * theory.saturation_gain(0))
        for (label, drive, saturation), loud in zip(CASES, sounds[1:]):
            z = quiet / SMALL * theory.drive_gain(drive) / theory.drive_gain(0)
            wanted = through_amplifier(z, saturation, early)
            got = without_blocker(loud, 16 if early else 24.4)
            got, wanted = got - got.mean(), wanted - wanted.mean()
            page.percent(f"{label}, {name}: level", rms(got), rms(wanted), 1)
            page.row(f"{label}, {name}: distance from the formula", 100 * rms(got - wanted) / rms(wanted), 0,
                     2, "%", "most")
            turn = slice(4000, 4000 + 3 * 184)
            plot.plot(z[turn], got[turn], ".", ms=2, label=label)
            order = np.argsort(z[turn])
            plot.plot(z[turn][order], wanted[turn][order], lw=0.6, color="k")
        plot.set(title=name, xlabel="filter output, compensated", ylabel="output (Mono, volume 1)")
        plot.grid(alpha=0.3)
        plot.legend()
    page.plot(figure, "Output over filter output, without its mean; black: the formula.")

    levels = np.linspace(0, 1, 9)
    figure, axes = plt.subplots(figsize=(8, 4))
    for name, early in ENGINES:
        jobs = [triangle(early, 1, d, 0.2969) for d in levels]
        axes.plot(levels, [db(rms(settled(s))) for s in render.batch(jobs)], "o-", ms=3, label=name)
    axes.set(xlabel="mixer_drive", ylabel="RMS [dB]", title="level against drive, saturation 0.2969")
    axes.grid(alpha=0.3)
    axes.legend()
    page.plot(figure, "How the level follows the drive knob.")
