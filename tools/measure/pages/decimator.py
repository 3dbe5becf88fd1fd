# SPDX-License-Identifier: GPL-3.0-or-later
"""Pass band and stop band of the decimator at 44.1 kHz."""

import matplotlib.pyplot as plt
import numpy as np

from .. import chain, oscillators, ripple, theory
from ..analysis import db, steep_spectrum, tone_hz, transfer
from ..render import Job
from ..setup import BARE, ENGINES, NOISE, NOISE_KEY, SETTLED
from .waves import harmonics

TITLE = "Decimator"
RATE = 44100
STOP = [24000, 26000, 28000, 30000, 32000, 34000]


def linear_path(f, early):
    units = np.clip(theory.cutoff_units(1, 1, early), 0, 1)
    return chain.ladder(f, units, RATE, early, slope24=False) * chain.dc_blockers(f, RATE, early)


def pass_band(page, render, axes):
    early = 1
    job = Job({**NOISE, "opts_revision": early, "filter_type": 0}, [(NOISE_KEY, 100, 0, 60)], 12, RATE)
    sound = ripple.undone(render(job)[:, 0], RATE)
    first = int(SETTLED * RATE)
    known = chain.white_at_host_rate(len(sound), RATE)
    f, h, _ = transfer(known[first:], sound[first:], RATE, 0.25)
    rest = (linear_path(f, early) * chain.white_gain(f, NOISE["mixer_noise"], RATE)
            * chain.small_signal_gain(slope24=False))
    gain = db(h / rest)
    formula = db(chain.decimator_response(f, RATE))
    for hz in (100, 1000, 5000, 10000, 14000, 16000, 18000):
        k = np.argmin(abs(f - hz))
        page.row(f"pass band, {hz} Hz", gain[k], formula[k], 0.1, "dB")
    inside = (f > 100) & (f < 20500)
    axes.plot(f[inside], gain[inside], lw=1, label="from white noise")


def stop_band(page, render, axes):
    """Harmonic 2 of a saw, at the top of the keyboard, falls into the stop band and comes back."""
    jobs = []
    for hz in STOP:
        semi = 12 * np.log2(hz / 2 / theory.pitch_hz(127))
        fine = {f"osc_{k}_semi": (semi + 7) / 14 for k in (1, 2, 3)}
        level = 0.3 if hz < 31000 else 1.0  # deep in the stop band a little bending matters less
        jobs.append(Job({**BARE, "filter_type": 0, "mixer_osc_1": level, **fine}, [(127, 100, 0, 20)],
                        8.4, RATE))
    for hz, sound in zip(STOP, render.batch(jobs)):
        first = int(SETTLED * RATE)
        plain = ripple.undone(sound[first:, 0], RATE, first)
        base = tone_hz(plain, RATE, hz / 2)
        back = abs(2 * base - RATE * round(2 * base / RATE))
        carrier, came_back = (harmonics(plain, RATE, v, 1)[0] for v in (base, back))
        model = oscillators.voice_rate(2, 1, False, base, RATE, 1.0)
        in_voice = harmonics(model, 8 * RATE, base, 2)
        path = abs(linear_path([base, 2 * base], 0))
        through = came_back / carrier * (in_voice[0] * path[0]) / (in_voice[1] * path[1])
        through *= abs(chain.decimator_response([base], RATE)[0])
        wanted = db(chain.decimator_response([2 * base], RATE)[0])
        floor = db(np.median(steep_spectrum(plain, RATE)[1][1000:]) / carrier) + 6
        tolerance = 0.2 if wanted > -60 else 1.5
        if wanted > floor + 14:
            page.row(f"{2 * base:.0f} Hz, folded to {back:.0f} Hz", db(through), wanted, tolerance, "dB")
        else:
            page.row(f"{2 * base:.0f} Hz, folded to {back:.0f} Hz, below the noise", db(through),
                     floor + 14, 0, "dB", "most")
        axes.plot(2 * base, db(through), "o", color="C3")


def measure(page, render):
    page.text("""The taps are a low-pass at 0.48 of the rate under a four-term window over 119 voice
        samples. Such a window needs about 11 kHz on either side of the edge, so that the formula
        itself gives -1.6 dB at 18 kHz and -23 dB at 26 kHz (at 44.1 kHz); it is flat within
        0.1 dB to 14.0 kHz and below -90 dB from 32.0 kHz. Rows hold the sound against the
        formula: the pass band through white noise whose sequence is known, the stop band through
        the second harmonic of a saw that comes back folded.""")
    f = np.linspace(0, 8 * RATE / 2, 8000)
    figure, axes = plt.subplots(2, 1, figsize=(9, 8))
    response = chain.decimator_response(f, RATE)
    for plot in axes:
        plot.plot(f, db(response), "k", lw=0.7, label="formula")
        plot.grid(alpha=0.3)
    taps = chain.decimator_taps()
    page.row("sum of the taps", taps.sum(), 0.99959, 1e-5)
    low = f[np.argmax(db(response) - db(response[0]) < -0.1)]
    page.row("formula: flat within 0.1 dB up to", low, 14048, 30, "Hz")
    page.row("formula: below -90 dB from", f[len(f) - 1 - np.argmax(db(response[::-1]) > -90)], 32020,
             30, "Hz")
    pass_band(page, render, axes[1])
    stop_band(page, render, axes[0])
    axes[0].set(xlim=(0, 60000), ylim=(-150, 5), ylabel="dB", title="decimator at 44.1 kHz")
    axes[1].set(xlim=(0, 22050), ylim=(-4, 0.5), xlabel="Hz", ylabel="dB")
    axes[1].legend()
    page.plot(figure, "Formula, and what renders give: folded harmonics (dots) and white noise.")
