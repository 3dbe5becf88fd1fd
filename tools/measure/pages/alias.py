# SPDX-License-Identifier: GPL-3.0-or-later
"""A saw at 5 kHz: its alias products below 20 kHz."""

import matplotlib.pyplot as plt
import numpy as np

from .. import oscillators, theory
from ..analysis import TINY, db, pitch_hz
from ..render import Job
from ..setup import BARE, ENGINES, SETTLED
from .waves import RATE, harmonics, inharmonic, path_response, steady


def rate_fold(hz):
    """Where a component lands when it is taken once per output sample."""
    return hz - RATE * round(hz / RATE)


TITLE = "Alias products of a saw at 5 kHz"


def measure(page, render):
    page.text("""Key 111 with semi raised so that the fundamental is 5000 Hz plus a little, low
        enough that filter and amplifier bend nothing. The mains ripple is undone, harmonics are taken out; the
        noise floor that always sounds is white and shows as a carpet: 8 seconds in one window put
        its lines more than 20 dB below the line drawn at -80 dBc. That line is not kept, and by
        the method cannot be: the decimator's 119 taps under their window fall from -14 dB at
        26 kHz to -90 dB only at 34.7 kHz (at 48 kHz), so that harmonic 6 at 30 kHz comes back at
        18 kHz; and the Early saw is bent after its steps are smoothed, which folds around the
        voice rate. The rows therefore hold the model of the method against the sound.""")
    limit = -80.0
    figure, axes = plt.subplots(4, 1, figsize=(10, 14), sharex=True)
    plots = iter(axes)
    for name, early in ENGINES:
        for wave, label in ((2, "Saw"), (3, "Rev Saw")):
            semi = 12 * np.log2(5003.3 / theory.pitch_hz(111))
            settings = {**BARE, "opts_revision": early, "osc_1_waveform": wave, "mixer_osc_1": 0.12,
                        "filter_type": 0, **{f"osc_{k}_semi": (semi + 7) / 14 for k in (1, 2, 3)}}
            sound = render(Job(settings, [(111, 100, 0, 20)], SETTLED + 8, RATE))
            sound = steady(sound, RATE)
            hz = pitch_hz(sound, RATE, 5003.3)
            carrier = harmonics(sound, RATE, hz, 1)[0]
            f, a, left = inharmonic(sound, RATE, hz)
            inside = np.where((f > 30) & (f < 20000), left, np.nan)
            worst = db(np.nanmax(inside) / carrier)
            model = oscillators.voice_rate(wave, 1, bool(early), hz, RATE, 4.05)
            lines = oscillators.folded(model, RATE, lambda v: path_response(v, bool(early)))
            fm, _, leftm = inharmonic(lines, RATE, hz)
            wanted = db(np.nanmax(np.where((fm > 30) & (fm < 20000), leftm, np.nan))
                        / harmonics(lines, RATE, hz, 1)[0])
            at = f[np.nanargmax(inside)]
            page.row(f"{label}, {name}: largest alias product, at {at:.0f} Hz", worst, wanted, 1, "dBc")
            # What the decimator lets through from just above its edge is told from what the
            # oscillator itself folds around the voice rate.
            folds = np.array([abs(rate_fold(k * hz)) for k in range(5, 11)])
            for line in folds:
                inside[abs(f - line) < 400] = np.nan
                leftm[abs(fm - line) < 400] = np.nan
            worst = db(np.nanmax(inside) / carrier)
            at = f[np.nanargmax(inside)]
            own = db(np.nanmax(np.where((fm > 30) & (fm < 20000), leftm, np.nan))
                     / harmonics(lines, RATE, hz, 1)[0])
            page.row(f"{label}, {name}: largest without what folds around the host rate, at {at:.0f} Hz",
                     worst, own, 1, "dBc")
            noise = db(np.nanmedian(inside) / carrier)
            page.row(f"{label}, {name}: noise floor, median line", noise, limit - 20, 0, "dBc", "most")
            plot = next(plots)
            plot.plot(f, db(a / carrier + TINY), lw=0.3)
            plot.plot(f, db(left / carrier + TINY), lw=0.3, color="C3")
            plot.plot(fm, db(leftm / harmonics(lines, RATE, hz, 1)[0] + TINY), lw=0.4, color="k", alpha=0.6)
            plot.axhline(limit, color="g", lw=0.7)
            plot.set(ylim=(-160, 5), xlim=(0, 24000), ylabel="dBc", title=f"{label}, {name}, {hz:.2f} Hz")
            plot.grid(alpha=0.3)
    page.plot(figure, "Blue: all. Red: harmonics taken out. Black: alias lines of "
              "the oscillator's method in double precision, without noise.")
