# SPDX-License-Identifier: GPL-3.0-or-later
"""White noise, pink noise and the floor that always sounds."""

import matplotlib.pyplot as plt
import numpy as np
from scipy import signal

from .. import chain, oscillators, ripple, theory
from ..analysis import db, smooth_octaves, transfer
from ..render import Job
from ..setup import BARE, ENGINES, NOISE, NOISE_KEY, SETTLED
from .waves import harmonics

TITLE = "Noise"
RATE = 48000
SECONDS = 12


def path(f, early, slope24=True):
    units = np.clip(theory.cutoff_units(1, 1, early), 0, 1)
    return (chain.ladder(f, units, RATE, early, slope24) * chain.dc_blockers(f, RATE, early)
            * chain.decimator_response(f, RATE) * chain.small_signal_gain(slope24))


def density(sound):
    f, p = signal.welch(sound, RATE, nperseg=1 << 16)
    return smooth_octaves(f, p, 3)


def steady(sound):
    first = int(SETTLED * RATE)
    return ripple.undone(sound[first:, 0], RATE, first)[1000:]


def white(page, render):
    page.text("""The generator of the white noise is known to the bit, so that white noise can be laid
        against its own copy: the transfer function of the whole path then comes without
        statistical error. The intended one is the linear response of 80 Hz high-pass, open
        filter, DC blockers, amplifier and decimator.""")
    figure, axes = plt.subplots(2, 1, figsize=(9, 7), sharex=True)
    for name, early in ENGINES:
        job = Job({**NOISE, "opts_revision": early}, [(NOISE_KEY, 100, 0, 60)], SECONDS, RATE)
        sound = render(job)
        first = int(SETTLED * RATE)
        plain = ripple.undone(sound[:, 0], RATE)[first:]
        f, h, coherence = transfer(chain.white_at_host_rate(len(sound), RATE)[first:], plain, RATE)
        wanted = path(f, early) * chain.white_gain(f, NOISE["mixer_noise"], RATE)
        inside = (f >= 30) & (f <= 18000)
        error = db(h[inside]) - db(wanted[inside])
        page.row(f"white, {name}: level at 1 kHz", db(h[1000]), db(wanted[1000]), 0.1, "dB")
        page.row(f"white, {name}: largest error, 30 Hz to 18 kHz", max(error, key=abs), 0, 0.25, "dB")
        page.row(f"white, {name}: coherence with the generator at 1 kHz", coherence[1000], 1, 1e-3)
        axes[0].semilogx(f[1:], db(h[1:]), label=name, lw=0.8)
        axes[0].semilogx(f[1:], db(wanted[1:]), "k--", lw=0.6)
        axes[1].semilogx(f[inside], error, label=name, lw=0.8)
    axes[0].set(title="white noise over its generator", ylabel="dB", ylim=(-40, 5), xlim=(20, 24000))
    axes[1].set(ylabel="error [dB]", xlabel="Hz", ylim=(-0.5, 0.5))
    for plot in axes:
        plot.legend()
        plot.grid(alpha=0.3, which="both")
    page.plot(figure, "Transfer of the whole path, dashed the linear theory; below the difference.")


def pink(page, render):
    figure, axes = plt.subplots(figsize=(9, 4))
    for name, early in ENGINES:
        job = Job({**NOISE, "opts_revision": early, "mixer_noise_type_sw": 0}, [(NOISE_KEY, 100, 0, 60)],
                  20, RATE)
        f, power = density(steady(render(job)))
        level = 10 * np.log10(power / abs(path(f, early)) ** 2)
        # Held for one output sample at a time: the zero-order hold is part of the noise.
        flat = level - db(np.sinc(f / RATE))
        inside = (f > 60) & (f < 14000)
        slope = np.polyfit(np.log2(f[inside]), flat[inside], 1)[0]
        page.row(f"pink, {name}: slope 60 Hz to 14 kHz", slope, -3.01, 0.25, "dB/octave")
        rest = flat[inside] - np.polyval(np.polyfit(np.log2(f[inside]), flat[inside], 1),
                                         np.log2(f[inside]))
        page.row(f"pink, {name}: largest distance from the line", max(rest, key=abs), 0, 1.5, "dB")
        axes.semilogx(f, level, label=name)
    axes.set(xlabel="Hz", ylabel="dB per Hz before the filter", title="pink noise", xlim=(20, 24000))
    axes.legend()
    axes.grid(alpha=0.3, which="both")
    page.plot(figure, "Density of the pink noise in thirds of an octave, the path divided out. The "
              "slow noise lifts it below 10 Hz, the hold takes 2.6 dB at 20 kHz.")


def floor(page, render):
    """All mixer levels closed."""
    figure, axes = plt.subplots(figsize=(9, 4))
    for name, early in ENGINES:
        settings = {**BARE, "opts_revision": early, "osc_1_active": 0, "osc_2_range": 4,
                    "osc_3_range": 5}
        sound = render(Job(settings, [(60, 100, 0, 60)], SECONDS, RATE))
        first = int(SETTLED * RATE)
        plain = ripple.undone(sound[:, 0], RATE)[first:]
        f, h, _ = transfer(chain.white_at_host_rate(len(sound), RATE)[first:], plain, RATE)
        wanted = db(0.001 * path(f, early))
        for hz in (1000, 10000):
            page.row(f"floor, {name}: level at {hz} Hz over the generator", db(h[hz]), wanted[hz], 0.5,
                     "dB")
        f, p = signal.welch(plain, RATE, "blackmanharris", nperseg=1 << 16)
        axes.semilogx(f[1:], 10 * np.log10(p[1:]), lw=0.6, label=name)
        if early:
            hz = theory.pitch_hz(60)
            wave = oscillators.voice_rate(2, 1, True, hz, RATE, 1.1) / oscillators.LEVEL[2]
            lines = oscillators.folded(wave, RATE, lambda v: path(v, True))[:48000]
            for k in (1, 3, 5):  # of Osc 1 alone: the others run one and two octaves higher
                got, wanted = harmonics(plain, RATE, hz * k, 1)[0], harmonics(lines, RATE, hz * k, 1)[0]
                page.row(f"leakage, Early: harmonic {k} of the closed Osc 1", db(got),
                         db(0.0002 * wanted), 0.3, "dB")
    axes.set(xlabel="Hz", ylabel="dB per Hz", title="all mixer levels at zero", xlim=(20, 24000))
    axes.legend()
    axes.grid(alpha=0.3, which="both")
    page.plot(figure, "The constant noise floor; in Early also the leakage of the raw oscillators.")


def measure(page, render):
    white(page, render)
    pink(page, render)
    floor(page, render)
