# SPDX-License-Identifier: GPL-3.0-or-later
"""Pitch of every key, the stretch of the keyboard, fixed spread, ranges, unison, drift, glide."""

import matplotlib.pyplot as plt
import numpy as np
from scipy import signal

from .. import theory
from ..analysis import pitch_hz, tone_hz
from ..render import Job
from ..setup import BARE, ENGINES, SETTLED

TITLE = "Pitch"
HOLD = 1.3  # seconds of each note
STEP = 1.5
RATE = 48000


def row_of_notes(keys):
    return [(key, 100, SETTLED + k * STEP, SETTLED + k * STEP + HOLD) for k, key in enumerate(keys)]


def played(render, settings, keys, chunk=16):
    """Steady part of each key, played one after another."""
    parts = [keys[k : k + chunk] for k in range(0, len(keys), chunk)]
    jobs = [Job(settings, row_of_notes(p), SETTLED + STEP * len(p), RATE) for p in parts]
    for part, sound in zip(parts, render.batch(jobs)):
        for k, key in enumerate(part):
            start = int((SETTLED + k * STEP + 0.1) * RATE)
            yield key, sound[start : start + int((HOLD - 0.12) * RATE), 0]


def float_phase_hz(hz):
    """Frequency of a phase kept in 32 bits: in each binade of 0..1 the increment that is really
    added is a multiple of that binade's last place."""
    fs8 = 8 * RATE
    increment = float(np.float32(hz / fs8))
    cycle, top = 0.0, 1.0
    for _ in range(12):
        last_place = top * 2.0 ** -24
        cycle += top / 2 / (np.round(increment / last_place) * last_place)
        top /= 2
    return fs8 / (cycle + top / increment)


def every_key(page, render):
    figure, axes = plt.subplots(figsize=(9, 3.5))
    table = {}
    for name, revision in ENGINES:
        settings = {**BARE, "opts_revision": revision}
        keys, errors, beyond = list(range(128)), [], []
        for key, sound in played(render, settings, keys):
            intended = theory.pitch_hz(key)
            measured = pitch_hz(sound, RATE, intended)
            errors.append(float(theory.cents(measured / intended)))
            beyond.append(float(theory.cents(measured / float_phase_hz(intended))))
            table.setdefault(key, [key, f"{intended:.6f}"]).append(f"{measured:.6f}")
            if key == 69:
                page.row(f"A4, {name}", theory.cents(measured / 440), 0, 0.5, "cent")
        for low in range(0, 128, 16):
            worst = max(errors[low : low + 16], key=abs)
            page.row(f"keys {low} to {low + 15}, largest error, {name}", worst, 0, 1, "cent")
        page.row(f"largest error that the 32-bit phase does not explain, {name}",
                 max(beyond, key=abs), 0, 0.1, "cent")
        axes.plot(keys, errors, ".-", label=name, lw=0.7)
    axes.set(xlabel="key", ylabel="cent", title="error against equal temperament")
    axes.legend()
    axes.grid(alpha=0.3)
    page.plot(figure, "Error of each key with opts_osc_keytracking at 0.5 and no drift. The phase "
              "is kept in 32 bits, so that the lowest keys add an increment of few digits.")
    page.data("keys.csv", ["key", "intended Hz", "Late Hz", "Early Hz"], table.values())


def stretch(page, render):
    page.text("""Stretch of the keyboard: away from 0.5 the octave is not 2, and keys turn about
        key 102, not about A4. The error below is against the formula; the plot is against equal
        temperament.""")
    figure, axes = plt.subplots(figsize=(9, 3.5))
    keys = list(range(9, 128, 12)) + [102]
    for value in (0.0, 0.6, 1.0):
        for name, revision in ENGINES:
            settings = {**BARE, "opts_osc_keytracking": value, "opts_revision": revision}
            off, error = [], []
            for key, sound in played(render, settings, keys):
                intended = theory.pitch_hz(key, value)
                measured = pitch_hz(sound, RATE, intended)
                off.append(theory.cents(measured / theory.pitch_hz(key)))
                error.append(theory.cents(measured / intended))
            a4 = off[keys.index(69)]
            a4_intended = theory.cents(theory.pitch_hz(69, value) / 440)
            page.row(f"A4 at keytracking {value:g}, {name}", a4, a4_intended, 0.05, "cent")
            page.row(f"key 102 at keytracking {value:g}, {name}", off[-1], 0, 0.05, "cent")
            page.row(f"largest error, keys 9 to 117, keytracking {value:g}, {name}",
                     max(error, key=abs), 0, 1, "cent")
            if revision == 0:
                axes.plot(keys[:-1], off[:-1], "o-", label=f"{value:g}", ms=3)
    axes.set(xlabel="key", ylabel="cent from equal temperament", title="opts_osc_keytracking")
    axes.legend()
    axes.grid(alpha=0.3)
    page.plot(figure, "Stretch of the keyboard at three settings.")


def spread(page, render):
    page.text("""Fixed spread: eight notes in a row in Poly-8 with rotating voices, one oscillator at
        a time; the distance of each voice from A4.""")
    for osc in (1, 2, 3):
        settings = {
            **BARE, "polyphony": 3, "opts_note_priority": 0, "osc_1_active": 0,
            f"osc_{osc}_active": 1, f"mixer_osc_{osc}": 1,
        }
        errors = []
        for voice, (_, sound) in enumerate(played(render, settings, [69] * 8)):
            intended = theory.pitch_hz(69, offset=theory.FIXED_SPREAD[voice][osc - 1])
            errors.append(theory.cents(pitch_hz(sound, RATE, 440) / intended))
        page.row(f"Osc {osc}, voices 0 to 7, largest error of the spread", max(errors, key=abs), 0,
                 0.03, "cent")


def tuning(page, render):
    """Ranges, semitone and fine knobs, coarse and master tuning, cap, Osc 3 without keyboard."""
    cases = [(f"range {label}", {"osc_1_range": index}, 69, theory.RANGE_SEMITONES[index], 1)
             for index, label in enumerate(["LO", "32'", "16'", "8'", "4'", "2'"])]
    cases += [(f"coarse {k - 2:+d}", {"tuning_coarse": k}, 69, 0, theory.COARSE_FACTOR[k])
              for k in (0, 1, 3, 4)]
    cases += [("semi at 0", {"osc_1_semi": 0}, 69, -7, 1), ("semi at 1", {"osc_1_semi": 1}, 69, 7, 1),
              ("fine at 0", {"osc_1_fine": 0}, 69, -0.5, 1), ("fine at 1", {"osc_1_fine": 1}, 69, 0.5, 1),
              ("master fine at 0", {"tuning_fine": 0}, 69, 0, 2 ** (-1 / 12)),
              ("master fine at 1", {"tuning_fine": 1}, 69, 0, 2 ** (1 / 12))]
    jobs = [Job({**BARE, **extra}, [(key, 100, 0, 4)], 3) for _, extra, key, _, _ in cases]
    for (what, _, key, offset, factor), sound in zip(cases, render.batch(jobs)):
        intended = theory.pitch_hz(key, offset=offset, tuning=factor)
        measured = pitch_hz(sound[int(SETTLED * RATE) :, 0], RATE, intended)
        page.row(f"A4, {what}", theory.cents(measured / float_phase_hz(intended)), 0, 0.1, "cent")

    high = render(Job({**BARE, "osc_1_range": 5}, [(127, 100, 0, 3)], 2))[int(SETTLED * RATE) :, 0]
    page.row("key 127 at 2', held by the cap at 0.4 of the rate", tone_hz(high, RATE, 19200), 19200,
             0.02, "Hz")

    free = {**BARE, "osc_1_active": 0, "osc_3_active": 1, "mixer_osc_3": 1, "osc_3_ktrk": 0}
    jobs = [Job({**free, "osc_3_range": r}, [(69, 100, 0, 4)], 3) for r in range(1, 6)]
    for index, sound in enumerate(render.batch(jobs), 1):
        intended = theory.low_rate_hz(0.5) * theory.FIXED_RATE_FACTOR[index]
        measured = pitch_hz(sound[int(SETTLED * RATE) :, 0], RATE, intended)
        page.percent(f"Osc 3 without keyboard, factor {theory.FIXED_RATE_FACTOR[index]}", measured,
                     intended, 0.02, "Hz")


def unison(page, render):
    settings = {**BARE, "polyphony": 0, "unison_detune": 1, "unison_spread": 0}
    sound = render(Job(settings, [(69, 100, 0, 6)], 5))[int(SETTLED * RATE) :, 0]
    for lane, factor in enumerate(theory.unison_factors(1.0)):
        intended = theory.pitch_hz(69, offset=theory.FIXED_SPREAD[lane][0], tuning=factor)
        measured = tone_hz(sound, RATE, intended)
        page.row(f"Unison lane {lane} at detune 1", theory.cents(measured / intended), 0, 0.2, "cent")


def tracked_hz(sound, low, high, window=0.02):
    """Mean frequency of the component between low and high in windows, and their middles [s]."""
    band = signal.butter(4, [low, high], "bandpass", fs=RATE, output="sos")
    phase = np.unwrap(np.angle(signal.hilbert(signal.sosfiltfilt(band, sound))))
    step = int(window * RATE)
    hz = np.diff(phase[::step]) * RATE / (2 * np.pi * step)
    return (np.arange(len(hz)) + 0.5) * step / RATE, hz


def drift(page, render):
    settings = {**BARE, "opts_osc_drift": 1, "osc_1_waveform": 0}
    sound = render(Job(settings, [(93, 100, 0, 32)], 31))[int(SETTLED * RATE) :, 0]
    time, hz = tracked_hz(sound, 1500, 2100, 0.1)
    time, part = time[5:-5], (hz[5:-5] / theory.pitch_hz(93) - 1) * 100
    figure, axes = plt.subplots(figsize=(9, 3))
    axes.plot(time, part)
    axes.set(xlabel="s", ylabel="% of frequency", title="Osc 1 at opts_osc_drift 1")
    axes.grid(alpha=0.3)
    page.plot(figure, "Drift: straight walks between random targets, never below the base.")
    page.row("drift of Osc 1 at depth 1, highest", part.max(), 0.25, 0.003, "%", "most")
    page.row("drift of Osc 1 at depth 1, lowest", part.min(), 0, 0.003, "%", "least")
    slope = np.abs(np.gradient(part, time))
    page.percent("speed of the walk at depth 1", np.median(slope), 0.125, 3, "%/s")


def glide(page, render):
    settings = {**BARE, "controls_glide": 0.7, "osc_1_waveform": 0, "opts_mono_mode": 0}
    notes = [(60, 100, 0, 3), (84, 100, 1, 1.8)]
    sound = render(Job(settings, notes, 2.8))[:, 0]
    time, hz = tracked_hz(sound, 200, 1500)
    key = 60 + 12 * np.log2(hz / theory.pitch_hz(60))
    speed = theory.glide_semitones_per_second(0.7)
    for what, begin, end, intended in (("up", 1.0, 1.8, 2 * speed), ("down", 1.8, 2.8, -speed)):
        inside = (time > begin) & (time < end) & (key > 66) & (key < 78)
        measured = np.polyfit(time[inside], key[inside], 1)[0]
        page.percent(f"glide at 0.7, {what}", measured, intended, 1, "semitones/s")


def measure(page, render):
    every_key(page, render)
    stretch(page, render)
    spread(page, render)
    tuning(page, render)
    unison(page, render)
    drift(page, render)
    glide(page, render)
