# SPDX-License-Identifier: GPL-3.0-or-later
"""Spectrum and alias floor of every wave at C2, C5 and C8 in both engines."""

import matplotlib.pyplot as plt
import numpy as np

from .. import chain, oscillators, ripple, theory
from ..analysis import TINY, db, phasor, pitch_hz, steep_spectrum
from ..render import Job
from ..setup import BARE, ENGINES, SETTLED

TITLE = "Waves and their alias floor"
RATE = 48000
NAMES = ["Triangle", "Shark", "Saw", "Rev Saw", "Pulse", "Wide", "Narrow"]
KEYS = [(36, "C2"), (72, "C5"), (108, "C8")]
SECONDS = 3.0
GUARD = 14  # bins left out on either side of a harmonic


def path_response(f, early):
    """Linear gain of everything behind the oscillator."""
    units = np.clip(theory.cutoff_units(1, 1, early), 0, 1)
    return (chain.ladder(f, units, RATE, early, slope24=False) * chain.dc_blockers(f, RATE, early)
            * chain.decimator_response(f, RATE))


def harmonics(sound, rate, hz, count):
    return np.array([abs(phasor(sound, rate, hz * k)) for k in range(1, count + 1)])


def steady(sound, rate):
    """The settled part of a render, without the mains ripple."""
    first = int(SETTLED * rate)
    return ripple.undone(sound[first:, 0], rate, first)[2000:]


def inharmonic(sound, rate, hz):
    """Spectrum, and the same with the harmonics taken out (nan), and their frequencies."""
    f, a = steep_spectrum(sound, rate)
    left = a.copy()
    left[f < 30] = np.nan
    for k in range(1, int(rate / 2 / hz) + 1):
        left[abs(f - k * hz) < GUARD * f[1]] = np.nan
    return f, a, left


def measure(page, render):
    page.text("""Osc 1 alone, filter open at 12 dB, low level. Harmonics are compared with a model of
        the oscillator in double precision (each step spread over two voice samples by the
        fourth-order polynomial), multiplied by the linear response of filter, DC blockers and
        decimator, relative to the first. The alias floor is the largest line below 20 kHz that is
        not a harmonic. The mains ripple, which puts sidebands around every harmonic on purpose,
        is undone beforehand; a constant noise floor is part of the sound, and at the given
        length it sets the lowest line that can be seen. The intended
        alias floor is that of the model.""")
    table = []
    for name, early in ENGINES:
        jobs, cases = [], []
        for wave in range(7):
            for key, label in KEYS:
                settings = {**BARE, "opts_revision": early, "osc_1_waveform": wave,
                            "mixer_osc_1": 0.3, "filter_type": 0, "opts_osc_1_phase": 0.5}
                jobs.append(Job(settings, [(key, 100, 0, 9)], SETTLED + SECONDS, RATE))
                cases.append((wave, key, label))
        figure, axes = plt.subplots(7, 3, figsize=(13, 18), sharex=True, sharey=True)
        for (wave, key, label), sound in zip(cases, render.batch(jobs)):
            sound = steady(sound, RATE)
            hz = pitch_hz(sound, RATE, theory.pitch_hz(key))
            count = min(9, int(18000 / hz))
            model = oscillators.voice_rate(wave, 1, bool(early), hz, RATE, SECONDS + 0.05)
            lines = oscillators.folded(model, RATE, lambda v: path_response(v, bool(early)))
            lines = lines[: len(sound)]
            wanted = harmonics(lines, RATE, hz, count)
            got = harmonics(sound, RATE, hz, count)
            strong = wanted > 0.1 * wanted[0]  # a weak one stands on an alias or a sideband
            error = (db(got / got[0]) - db(wanted / wanted[0]))[strong]
            what = f"{NAMES[wave]} at {label}, {name}"
            tolerance = 0.3 if wave < 2 else 0.1  # the stored shapes are free between rows
            page.row(f"{what}: harmonics to {count}, largest error", max(error, key=abs), 0,
                     tolerance, "dB")

            f, a, left = inharmonic(sound, RATE, hz)
            floor = np.nanmedian(left[(f > 100) & (f < 20000)])
            inside = np.where((f > 30) & (f < 20000), left, np.nan)
            alias = db(np.nanmax(inside) / got[0])
            at = f[np.nanargmax(inside)]
            fm, _, leftm = inharmonic(lines, RATE, hz)
            model_alias = db(np.nanmax(np.where((fm > 30) & (fm < 20000), leftm, np.nan)) / wanted[0])
            noise = db(floor / got[0])
            intended = max(model_alias, noise + 12)
            page.row(f"{what}: alias floor, line at {at:.0f} Hz", alias, intended, 3, "dBc", "most")
            table.append([name, NAMES[wave], label, f"{hz:.3f}", f"{alias:.2f}", f"{at:.1f}",
                          f"{model_alias:.2f}", f"{noise:.2f}"]
                         + [f"{v:.3f}" for v in db(got / got[0])])
            plot = axes[wave, KEYS.index((key, label))]
            plot.plot(f, db(a / got[0] + TINY), lw=0.3, color="C0")
            plot.plot(f, db(left / got[0] + TINY), lw=0.3, color="C3")
            plot.axhline(model_alias, color="k", lw=0.6, ls="--")
            plot.set(ylim=(-150, 5), title=f"{NAMES[wave]} {label}", xlim=(0, 24000))
            plot.grid(alpha=0.3)
        page.plot(figure, f"{name}: spectra relative to the fundamental [dB over Hz]. Red: what is "
                  "not a harmonic; dashed: alias floor of the model.")
    page.data("waves.csv", ["engine", "wave", "key", "Hz", "alias dBc", "alias at Hz",
                            "model alias dBc", "noise dBc", "harmonics dB"], table)
