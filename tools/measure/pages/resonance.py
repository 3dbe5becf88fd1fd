# SPDX-License-Identifier: GPL-3.0-or-later
"""Resonance below and above self-oscillation, and how the oscillation follows the keyboard."""

import matplotlib.pyplot as plt
import numpy as np
from scipy.interpolate import PchipInterpolator
from scipy.optimize import brentq

from .. import chain, ladder, theory
from ..analysis import db, phasor, tone_hz
from ..render import Job
from ..setup import BARE, ENGINES, SETTLED
from .filter import RATE, job, knob, response, units_of

TITLE = "Resonance"
LOOPS = [1.0, 2.0, 3.0, 3.7]
CUTOFFS = [200, 500, 1000, 3000, 8000]


def resonance_knob(k):
    """Knob for a loop gain at the middle of the resonance range."""
    return brentq(lambda v: theory.loop_gain(v) - k, 0, 1)


def below(page, render):
    figure, axes = plt.subplots(1, 2, figsize=(12, 5), sharey=True)
    for (name, early), plot in zip(ENGINES, axes):
        jobs = [job(1000, early, filter_resonance=resonance_knob(k), mixer_noise=0.15) for k in LOOPS]
        for k, sound in zip(LOOPS, render.batch(jobs)):
            f, h, _ = response(sound, early, True, False)
            wanted = chain.ladder(f, units_of(1000, early), RATE, bool(early), loop=k)
            inside = (f > 100) & (f < 3000)
            peak, top = np.argmax(np.where(inside, abs(h), 0)), np.argmax(np.where(inside, abs(wanted), 0))
            if k >= 2:
                page.percent(f"{name}, loop gain {k:g}: frequency of the peak", f[peak], f[top], 2, "Hz")
                page.row(f"{name}, loop gain {k:g}: height of the peak over 100 Hz",
                         db(h[peak] / h[100]), db(wanted[top] / wanted[100]), 0.4 if k < 3.5 else 1.5, "dB")
            page.row(f"{name}, loop gain {k:g}: level at 200 Hz", db(h[200]), db(wanted[200]), 0.3, "dB")
            plot.semilogx(f[1:], db(h[1:]), lw=0.8, label=f"{k:g}")
            plot.semilogx(f[1:], db(wanted[1:]), "k--", lw=0.5)
        plot.set(xlim=(20, 20000), ylim=(-70, 15), title=name, xlabel="Hz", ylabel="dB")
        plot.grid(alpha=0.3, which="both")
        plot.legend(title="loop gain")
    page.plot(figure, "24 dB low pass at 1 kHz with resonance; dashed: the linear loop.")


def silent(hz, early, resonance, **more):
    """The filter alone. A saw starts it and is then closed: at low cutoffs the noise floor is too
    small for the iterated solver, whose tolerance lets it rest (see the page's last words)."""
    settings = {**BARE, "opts_revision": early, "filter_cutoff": knob(hz, early), "mixer_osc_1": 0.5,
                "osc_2_range": 5, "osc_3_range": 5, "filter_resonance": resonance, **more}
    return Job(settings, [(60, 100, 0, 20)], SETTLED + 2, RATE, ["--auto", "osc_1_active=0@0.3"])


def oscillation(sound, guess):
    """Frequency and amplitude of the steady self-oscillation."""
    steady = sound[int((SETTLED + 1) * RATE) :, 0]
    if not steady.any():
        return np.nan, 0.0
    spectrum = abs(np.fft.rfft(steady * np.hanning(len(steady))))
    hz = tone_hz(steady, RATE, np.argmax(spectrum) * RATE / len(steady))
    return hz, abs(phasor(steady, RATE, hz))


def model(early, hz, k, seconds=0.25):
    """Frequency and amplitude of y4 of the simulated loop."""
    units = np.array([units_of(v, early) for v in hz])
    g = theory.integrator_gain(units, RATE, bool(early))
    count, bias, k = int(seconds * 8 * RATE), np.full(len(hz), 0.004), np.asarray(k, float)
    if early:
        y = ladder.linearised(count, bias, g, k, 8 * RATE)
    else:
        y = ladder.iterated(count, bias, g, k, 8 * RATE, 1e-7 + 1e-5 * units ** 2)
    late = y[len(y) // 2 :]
    found = []
    for column in range(late.shape[1]):
        one = late[:, column] - late[:, column].mean()
        rough = np.argmax(abs(np.fft.rfft(one * np.hanning(len(one))))) * 8 * RATE / len(one)
        f = tone_hz(one, 8 * RATE, rough)
        found.append((f, abs(phasor(one, 8 * RATE, f))))
    return found


def output_level(a, early):
    """Fundamental behind the amplifier of a tone of amplitude a at the tap."""
    turn = 2 * np.pi * np.arange(512) / 512
    z = a * np.sin(turn) * theory.compensation(True, False)
    z = z - 0.02 * theory.AMP_CEILING if early else theory.th(z) - 0.001 * theory.AMP_CEILING
    r = theory.th(theory.AMP_CEILING * z * 2)
    return 2 * abs(np.dot(r, np.exp(-1j * turn))) / 512 * 2


def above(page, render):
    page.text("""Above a loop gain of 4 the filter sings. Its curves then lower the effective gain of each
        stage, so that it sings below the table frequency; the intended frequency and level come
        from a simulation of both solvers in double precision.""")
    for name, early in ENGINES:
        sounds = render.batch([silent(hz, early, 1.0) for hz in CUTOFFS])
        for hz, sound, (wanted, amplitude) in zip(CUTOFFS, sounds, model(early, CUTOFFS, [5.5] * 5)):
            got, level = oscillation(sound, hz)
            page.row(f"{name}, cutoff {hz} Hz, resonance 1: pitch against the simulation",
                     theory.cents(got / wanted), 0, 10, "cent")
            page.percent(f"{name}, cutoff {hz} Hz, resonance 1: frequency", got, wanted, 1, "Hz")
            path = (chain.decimator_response([got], RATE) * chain.one_pole_high([got], 16 if early else 24.4, 8 * RATE)
                    * chain.one_pole_high([got], 12 if early else 20, 8 * RATE))
            page.row(f"{name}, cutoff {hz} Hz, resonance 1: level", db(level),
                     db(output_level(amplitude, early) * abs(path[0])), 0.3, "dB")


def threshold(page, render):
    figure, axes = plt.subplots(1, 2, figsize=(11, 4))
    loops = np.array([3.6, 3.8, 3.9, 4.05, 4.1, 4.2, 4.3, 4.5, 4.75, 5.0, 5.25, 5.5])
    for name, early in ENGINES:
        sounds = render.batch([silent(1000, early, resonance_knob(k)) for k in loops])
        levels, pitches = [], []
        for sound in sounds:
            hz, level = oscillation(sound, 1000)
            levels.append(level)
            pitches.append(hz)
        levels = np.array(levels)
        axes[0].plot(loops, levels, "o-", ms=3, label=name)
        axes[1].plot(loops[3:], pitches[3:], "o-", ms=3, label=name)
        # Just above the start the square of the amplitude grows in proportion.
        near = (loops > 4.15) & (loops < 4.35)
        slope, offset = np.polyfit(loops[near], levels[near] ** 2, 1)
        f = np.linspace(900, 1200, 30001)
        loop = chain.ladder(f, units_of(1000, early), RATE, bool(early))
        high = 1.0
        for corner in (9, 15) if early else (29.04,):
            high = high * (1 - chain.stage(f, np.tan(np.pi * corner / (8 * RATE)), 8 * RATE))
        loop = loop * high
        turn = np.argmin(abs(np.angle(-loop)))
        page.percent(f"{name}: loop gain at which the filter begins to sing", -offset / slope,
                     1 / abs(loop[turn]), 1.5)
    axes[0].set(xlabel="loop gain", ylabel="amplitude", title="self-oscillation at 1 kHz")
    axes[1].set(xlabel="loop gain", ylabel="Hz")
    for plot in axes:
        plot.legend()
        plot.grid(alpha=0.3)
    page.plot(figure, "Level and frequency of the self-oscillation against the loop gain.")


def calibration(render, early):
    """Cutoff value 0..1 of a self-oscillation at full resonance, as a function of its frequency."""
    hz = np.geomspace(110, 18000, 24)
    sounds = render.batch([silent(v, early, 1.0) for v in hz])
    found = [np.log2(oscillation(s, v)[0]) for s, v in zip(sounds, hz)]
    curve = PchipInterpolator(found, [units_of(v, early) for v in hz])
    return lambda v: curve(np.log2(v))


def keyboard(page, render):
    page.text("""Keytrack: the frequency of the singing filter is turned back into a cutoff by renders
        with the cutoff knob alone, so that the high-pass in the loop, which sharpens low notes,
        does not count.""")
    keys = [36, 48, 60, 72, 84]
    semitone = 256 / theory.TABLE_TOP
    figure, axes = plt.subplots(figsize=(9, 4))
    for name, early in ENGINES:
        units = calibration(render, early)
        for first, second, share in ((1, 0, 1 / 3), (0, 1, 2 / 3), (1, 1, 1.0)):
            jobs = []
            for key in keys:
                one = silent(300, early, 1.0, filter_keytrack_1=first, filter_keytrack_2=second)
                one.notes = [(key, 100, 0, 20)]
                jobs.append(one)
            note = np.array([units(oscillation(s, 0)[0]) for s in render.batch(jobs)]) / semitone
            what = " and ".join(n for n, on in (("1", first), ("2", second)) if on)
            slope, offset = np.polyfit(keys, note, 1)
            page.row(f"{name}, keytrack {what}: tuning from key 36 to 84", slope * 100, share * 100, 0.3,
                     "cent per key")
            still = units_of(300, early) / semitone
            page.row(f"{name}, keytrack {what}: key at which it changes nothing",
                     (still - offset) / slope, 31, 0.2)
            axes.plot(keys, note - still, "o-", ms=3, label=f"{name} {what}")
    axes.set(xlabel="key", ylabel="semitones of cutoff", title="keytrack")
    axes.legend()
    axes.grid(alpha=0.3)
    page.plot(figure, "Tuning of the singing filter by the two keytrack switches.")


def asleep(page, render):
    page.text("""The iterated solver leaves a sample as it is when its first and last residual are below
        1e-7 + 1e-5 c², c the cutoff value. Inputs that move the first stage by less than that
        vanish: with no source at all, the noise floor does not pass a low cutoff, and a filter
        at full resonance stays silent until something kicks it. The level of the floor behind
        the filter, Late over Early, shows where.""")
    cutoffs = np.geomspace(40, 20000, 14)
    levels = {}
    for name, early in ENGINES:
        jobs = [Job({**BARE, "opts_revision": early, "osc_1_active": 0, "osc_1_range": 5, "osc_2_range": 5,
                     "osc_3_range": 5, "filter_cutoff": knob(hz, early)}, [(127, 100, 0, 9)], 3, RATE)
                for hz in cutoffs]
        levels[name] = [db(np.std(s[RATE:, 0]) + 1e-9) for s in render.batch(jobs)]
    figure, axes = plt.subplots(figsize=(8, 3.5))
    for name in levels:
        axes.semilogx(cutoffs, levels[name], "o-", ms=3, label=name)
    axes.set(xlabel="cutoff [Hz]", ylabel="dB", title="noise floor behind the filter")
    axes.legend()
    axes.grid(alpha=0.3, which="both")
    page.plot(figure, "RMS of the noise floor alone without its mean; -180 dB stands for digital silence.")


def measure(page, render):
    below(page, render)
    above(page, render)
    threshold(page, render)
    keyboard(page, render)
    asleep(page, render)
