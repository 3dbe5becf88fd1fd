# SPDX-License-Identifier: GPL-3.0-or-later
"""Frequency response of the filter without resonance: all modes, both solvers, all cutoffs."""

import matplotlib.pyplot as plt
import numpy as np

from .. import chain, theory
from ..analysis import crossing, db, transfer
from ..render import Job
from ..setup import ENGINES, NOISE, NOISE_KEY, SETTLED

TITLE = "Filter response"
RATE = 48000
SWEEP = [26, 50, 100, 200, 500, 1000, 2000, 5000, 10000, 41600]
SURE = 0.999  # coherence from which a point of a transfer function counts
MODES = [("12 dB low pass", 0, 0), ("24 dB low pass", 1, 0), ("12 dB band pass", 0, 1),
         ("24 dB band pass", 1, 1)]


def knob(hz, early):
    return min(1.0, theory.cutoff_knob(hz, 1.0, early))


def job(hz, early, slope24=1, band_pass=0, seconds=12.0, **more):
    settings = {**NOISE, "opts_revision": early, "filter_type": slope24,
                "filter_type_lpbp": band_pass, "filter_cutoff": knob(hz, early), **more}
    return Job(settings, [(NOISE_KEY, 100, 0, 90)], seconds, RATE)


def known_noise(frames, all_voices_first=False):
    """The generator's sequence as voice 0 hears it. In the poly modes all eight voices draw from it
    during the first 64 samples, before seven of them have ended."""
    if not all_voices_first:
        return chain.white_at_host_rate(frames, RATE)
    draws = chain.white_sequence(8 * frames + 7 * 512)
    bins = np.fft.rfft(np.concatenate((draws[:512], draws[8 * 512 :])))
    return np.fft.irfft(bins[: frames // 2 + 1], frames) / 8


def response(sound, early, slope24, band_pass, segment=1.0, poly8=False):
    """Measured complex response of the ladder alone."""
    first = int(SETTLED * RATE)
    known = known_noise(len(sound), poly8)[first:]
    f, h, coherence = transfer(known, sound[first:, 0], RATE, segment)
    rest = (chain.white_gain(f, NOISE["mixer_noise"], RATE) * chain.dc_blockers(f, RATE, early or poly8)
            * chain.decimator_response(f, RATE)
            * chain.small_signal_gain(slope24, band_pass) * (0.5 if poly8 else 1))
    rest[0] = 1
    return f, h / rest, coherence


def units_of(hz, early):
    return theory.cutoff_units(knob(hz, early), 1.0, early)


def modes(page, render):
    page.text("""White noise whose sequence is known, at a level where the ladder is linear to a few
        thousandths, laid against its copy; DC blockers, amplifier and decimator are divided
        out. Theory: four equal trapezoidal one-poles at the table frequency (1.06 of it in the
        linearised solver).""")
    figure, axes = plt.subplots(1, 2, figsize=(12, 5), sharey=True)
    for (name, early), plot in zip(ENGINES, axes):
        sounds = render.batch([job(1000, early, s, b) for _, s, b in MODES])
        for (label, slope24, band_pass), sound in zip(MODES, sounds):
            f, h, coherence = response(sound, early, bool(slope24), bool(band_pass))
            wanted = chain.ladder(f, units_of(1000, early), RATE, bool(early), bool(slope24),
                                  bool(band_pass))
            inside = (f > 30) & (f < 18000) & (db(wanted) > -60) & (coherence > SURE)
            error = (db(h) - db(wanted))[inside]
            page.row(f"{label} at 1 kHz, {name}: largest error down to -60 dB", max(error, key=abs), 0,
                     0.3, "dB")
            plot.semilogx(f[1:], db(h[1:]), lw=0.8, label=label)
            plot.semilogx(f[1:], db(wanted[1:]), "k--", lw=0.5)
        plot.set(xlim=(20, 20000), ylim=(-90, 5), title=name, xlabel="Hz", ylabel="dB")
        plot.grid(alpha=0.3, which="both")
        plot.legend()
    page.plot(figure, "The four modes at 1 kHz without their loudness compensation; dashed: theory.")


def sweep(page, render, name, early, plot, poly8=False):
    wide = {"polyphony": 3} if poly8 else {}
    linearised = bool(early) or poly8
    points = SWEEP[1::4] if poly8 else SWEEP
    jobs = [job(hz, early, 1, 0, 30 if hz <= 100 else 10, **wide) for hz in points]
    for hz, sound in zip(points, render.batch(jobs)):
        slow = hz <= 100
        f, h, coherence = response(sound, early, True, False, 4.0 if slow else 1.0, poly8)
        units = units_of(hz, early)
        wanted = chain.ladder(f, units, RATE, linearised)
        plot.semilogx(f[1:], db(h[1:]), lw=0.8)
        plot.semilogx(f[1:], db(wanted[1:]), "k--", lw=0.4)
        fine = np.geomspace(1, 30000, 20000)
        theory_level = db(chain.ladder(fine, units, RATE, linearised))
        usable = f > (5 if slow else 20)
        level = db(h)
        what = f"{name}, {hz} Hz"
        if hz < 30000:
            page.percent(f"{what}: -3 dB point over linear four-pole theory",
                         crossing(f[usable], level[usable], -3.0103),
                         crossing(fine, theory_level, -3.0103), 3, "Hz")
            pole = theory.table_hz(units) * (1.06 if linearised else 1)
            page.percent(f"{what}: -12 dB point (a stage's own -3 dB) over the table frequency",
                         crossing(f[usable], level[usable], -12.0412), pole, 3, "Hz")
        inside = usable & (f < 18000) & (db(wanted) > -45) & (coherence > SURE)
        error = (level - db(wanted))[inside]
        page.row(f"{what}: largest error down to -45 dB", max(error, key=abs), 0, 0.5, "dB")


def measure(page, render):
    modes(page, render)
    page.text("""What "cutoff" means: the table gives the frequency of one stage. Four equal stages are
        3 dB down at 0.435 of it, and 12 dB down at it; two stages (12 dB) at 0.644. So the whole
        filter's -3 dB point cannot lie at the table frequency. Both points are held against
        theory below; in Early and Poly-8 each pole lies 6 % above the table.""")
    figure, axes = plt.subplots(1, 3, figsize=(15, 5), sharey=True)
    for plot, (name, early, poly8) in zip(axes, [("Late", 0, False), ("Early", 1, False),
                                                  ("Poly-8 Late", 0, True)]):
        sweep(page, render, name, early, plot, poly8)
        plot.set(xlim=(5, 20000), ylim=(-90, 5), title=name, xlabel="Hz", ylabel="dB")
        plot.grid(alpha=0.3, which="both")
    page.plot(figure, "24 dB low pass over the whole range of the cutoff; dashed: linear theory.")
