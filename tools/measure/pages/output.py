# SPDX-License-Identifier: GPL-3.0-or-later
"""Mains ripple, pan, level of the modes, ends of voices."""

import matplotlib.pyplot as plt
import numpy as np

from .. import chain, oscillators, theory
from ..analysis import db, phasor, rms, spectrum
from ..render import Job
from ..setup import BARE, ENGINES, SETTLED
from .filter import MODES, knob, units_of

TITLE = "Output stage, pan, levels, voice ends"
RATE = 48000
POLY = {"Unison": 0, "Poly-4": 1, "Mono": 2, "Poly-8": 3}


def mains(page, render):
    figure, axes = plt.subplots(figsize=(9, 3.5))
    for label, value, mains_hz in (("50 Hz", 1, 50), ("60 Hz", 0, 60)):
        settings = {**BARE, "opts_mains_frequency": value, "mixer_osc_1": 0.5}
        sound = render(Job(settings, [(127, 100, 0, 9)], SETTLED + 4, RATE))[int(SETTLED * RATE) :, 0]
        carrier = theory.pitch_hz(127)
        base = phasor(sound, RATE, carrier)
        wave = theory.ripple_wave(np.arange(4096) / 4096)
        parts = np.fft.rfft(wave) / 4096 * theory.RIPPLE_DEPTH
        high = chain.treble_high_pass([carrier], RATE)[0]
        for k in (1, 2, 3):
            wanted = db(parts[k] * high / (1 + parts[0] * high))
            both = [db(phasor(sound, RATE, carrier + side * k * mains_hz) / base) for side in (-1, 1)]
            page.row(f"{label} mains: sidebands {k * mains_hz} Hz beside 12.5 kHz", np.mean(both), wanted,
                     0.3 if k < 3 else 1, "dBc")
        f, a = spectrum(sound, RATE)
        axes.plot(f - carrier, db(a / abs(base)), lw=0.7, label=label)
    axes.set(xlim=(-400, 400), ylim=(-120, 5), xlabel="Hz from 12.5 kHz", ylabel="dBc")
    axes.legend()
    axes.grid(alpha=0.3)
    page.plot(figure, "Sidebands that the mains ripple puts beside high treble. The low hill around the carrier is "
              "the slow random wobble of the cutoff.")


def pan(page, render):
    for spread in (0.0, 0.5, 1.0):
        settings = {**BARE, "polyphony": 1, "opts_note_priority": 0, "unison_spread": spread}
        notes = [(60, 100, 0.4 + 0.6 * v, 0.9 + 0.6 * v) for v in range(4)]
        sound = render(Job(settings, notes, 3, RATE))
        for voice in range(2):
            part = sound[int((0.5 + 0.6 * voice) * RATE) : int((0.85 + 0.6 * voice) * RATE)]
            left, right = rms(part[:, 0]), rms(part[:, 1])
            wanted = theory.pan(theory.pan_position("Poly-4", voice, spread))
            page.row(f"Poly-4, spread {spread:g}, voice {voice}: left over the louder side",
                     left / max(left, right), wanted[0], 0.005)
            page.row(f"Poly-4, spread {spread:g}, voice {voice}: right over the louder side",
                     right / max(left, right), wanted[1], 0.005)
    settings = {**BARE, "polyphony": 0, "unison_spread": 0.8, "unison_detune": 1, "mixer_osc_1": 0.3}
    sound = render(Job(settings, [(69, 100, 0, 9)], SETTLED + 3, RATE))[int(SETTLED * RATE) :]
    for lane, factor in enumerate(theory.unison_factors(1.0)):
        hz = theory.pitch_hz(69, offset=theory.FIXED_SPREAD[lane][0], tuning=factor)
        left, right = (abs(phasor(sound[:, c], RATE, hz)) for c in (0, 1))
        wanted = theory.pan(theory.pan_position("Unison", lane, 0.8))
        page.row(f"Unison, spread 0.8, lane {lane}: left less right", db(left / right),
                 db(wanted[0] / wanted[1]), 0.1, "dB")


def line_level(early, slope24, band_pass, hz, linearised):
    """RMS of a saw at C4 through the linear path in Mono, and its fundamental."""
    def path(f):
        return (chain.ladder(f, units_of(hz, early), RATE, linearised, slope24, band_pass)
                * chain.dc_blockers(f, RATE, linearised) * chain.decimator_response(f, RATE))
    wave = oscillators.voice_rate(2, 1, bool(early), theory.pitch_hz(60), RATE, 1.0)
    lines = oscillators.folded(wave, RATE, path)[4800:-4800]
    gain = chain.small_signal_gain(slope24, band_pass)
    return rms(lines) * gain, abs(phasor(lines, RATE, theory.pitch_hz(60))) * gain


def levels(page, render):
    level = 0.15
    for name, early in ENGINES:
        jobs = []
        for mode, value in POLY.items():
            settings = {**BARE, "opts_revision": early, "polyphony": value, "mixer_osc_1": level,
                        "unison_detune": 0, "opts_osc_1_phase": 0.5, "filter_type": 0}
            jobs.append(Job(settings, [(60, 100, 0, 9)], 1.2, RATE))
        for mode, sound in zip(POLY, render.batch(jobs)):
            linearised = bool(early) or mode == "Poly-8"
            factor = {"Mono": 1, "Unison": 2}.get(mode, 0.5)
            wanted = line_level(early, False, False, 41600, linearised)[1] * level * factor
            # The fundamental alone: harmonics of the four Unison voices drift apart.
            got = abs(phasor(sound[int(SETTLED * RATE) :, 0], RATE, theory.pitch_hz(60)))
            page.row(f"{mode}, {name}: fundamental of one key", db(got), db(wanted), 0.15, "dB")
        jobs = [Job({**BARE, "opts_revision": early, "mixer_osc_1": level, "filter_type": s,
                     "filter_type_lpbp": b, "filter_cutoff": knob(800, early)}, [(60, 100, 0, 9)], 1.2, RATE)
                for _, s, b in MODES]
        for (label, s, b), sound in zip(MODES, render.batch(jobs)):
            wanted = line_level(early, bool(s), bool(b), 800, bool(early))[0] * level
            page.row(f"{label} at 800 Hz, {name}: level of a saw at C4", db(rms(sound[int(SETTLED * RATE) :, 0])),
                     db(wanted), 0.25, "dB")
    page.text("""Unison sums four voices in phase, Mono carries its voice twice; Poly-8 runs the linearised
        solver in both engines. Intended levels come from the linear path.""")


def ends(page, render):
    page.text("""A soft triangle at C3 shows steps best. The largest step from sample to sample after the key
        is let go is held against the largest while it sounds; then what is left 50 ms after the
        release has ended. Voices taken from another note are looked at in the same way.""")
    figure, axes = plt.subplots(2, 4, figsize=(15, 6))
    for (name, early), row in zip(ENGINES, axes):
        for (mode, value), plot in zip(POLY.items(), row):
            settings = {**BARE, "opts_revision": early, "polyphony": value, "osc_1_waveform": 0,
                        "osc_2_waveform": 0, "osc_3_waveform": 0, "unison_detune": 0.2}
            jobs = [Job({**settings, "amplifier_env_release": release}, [(48, 100, 0, 1.0)], 2.2, RATE)
                    for release in (0.0, 0.2)]
            for release, sound in zip(("2.5 ms", "90 ms"), render.batch(jobs)):
                left = sound[:, 0]
                held, after = left[int(0.5 * RATE) : RATE], left[RATE : int(1.4 * RATE)]
                ratio = abs(np.diff(after)).max() / abs(np.diff(held)).max()
                # A fall of 2.5 ms is itself a step of up to 1/40 of the level per sample and no more.
                limit = 1.1 if release == "90 ms" else 1 + 2.2 / (0.0025 * RATE) * rms(held) * 1.5 / abs(np.diff(held)).max()
                page.row(f"{mode}, {name}, release {release}: largest step after the key over that before",
                         ratio, limit, 0, "", "most")
                rest = left[int(1.5 * RATE) : int(1.55 * RATE)] if release == "90 ms" else left[int(1.06 * RATE) : int(1.1 * RATE)]
                page.row(f"{mode}, {name}, release {release}: what is left afterwards, steps",
                         db(abs(np.diff(rest)).max() + 1e-9), -90, 0, "dB", "most")
                t = np.arange(-0.01, 0.03, 1 / RATE)
                at = int(0.99 * RATE)
                plot.plot(t * 1000, left[at : at + len(t)], lw=0.7, label=release)
            plot.set(title=f"{mode}, {name}", xlabel="ms after the key")
            plot.grid(alpha=0.3)
            plot.legend()
    page.plot(figure, "The end of a note.")
    for mode in ("Mono", "Poly-4", "Poly-8"):
        settings = {**BARE, "polyphony": POLY[mode], "osc_1_waveform": 0, "osc_2_waveform": 0,
                    "osc_3_waveform": 0, "opts_note_priority": 0, "opts_mono_mode": 1}
        count = {"Mono": 2, "Poly-4": 5, "Poly-8": 9}[mode]
        notes = [(48 + k, 100, 0.1 * k, 3) for k in range(count - 1)] + [(60, 100, 1.5, 3)]
        sound = render(Job(settings, notes, 2, RATE))[:, 0]
        held, taken = sound[RATE : int(1.45 * RATE)], sound[int(1.495 * RATE) : int(1.55 * RATE)]
        page.row(f"{mode}: largest step while a voice is taken over that before",
                 abs(np.diff(taken)).max() / abs(np.diff(held)).max(), 2, 0, "", "most")


def measure(page, render):
    mains(page, render)
    pan(page, render)
    levels(page, render)
    ends(page, render)
