# SPDX-License-Identifier: GPL-3.0-or-later
"""Curves and times of both envelopes, seen from outside."""

import matplotlib.pyplot as plt
import numpy as np
from scipy import signal

from .. import theory
from ..analysis import crossing
from ..render import Job
from ..setup import BARE, ENGINES, NOISE, NOISE_KEY
from .filter import knob, units_of
from .resonance import calibration

TITLE = "Envelopes"
RATE = 48000
FAST_RATE = 192000
ON = 0.2  # seconds: the note starts here, noise and filter are settled by then
FIR_DELAY = 59 / 8  # output samples


# Amplifier: the same white noise twice, once with the envelope and once without ------------------

def amplitude(render, settings, hold, seconds, rate):
    """Times from the start of the note and amplitude, ceiling 1. Quick envelopes are played again and
    again, and each window is fitted over all notes at once."""
    notes = 40 if rate == FAST_RATE else 1
    hold = min(hold, 0.08) if notes > 1 else hold
    starts = [ON + k * 0.12 for k in range(notes)]
    every = {**NOISE, "mixer_noise": 0.3}
    length = starts[-1] + seconds
    pair = [Job({**every, **settings}, [(NOISE_KEY, 100, t, t + hold) for t in starts], length, rate),
            Job(every, [(NOISE_KEY, 100, 0, 900)], length, rate)]
    # Thumps of the control voltage lie below, and the hum's share is the same in both.
    high = signal.butter(2, 1000, "highpass", fs=rate, output="sos")
    sound, steady = (signal.sosfilt(high, s[:, 0]) for s in render.batch(pair))
    window = max(8, int(rate * min(seconds / 3000, 0.01)))
    count = int(seconds * rate) // window
    upper = lower = 0.0
    for t in starts:
        at = int(t * rate + 0.5)
        y, x = (s[at : at + count * window].reshape(count, window) for s in (sound, steady))
        upper, lower = upper + (x * y).sum(1), lower + (x * x).sum(1)
    time = ((np.arange(count) + 0.5) * window - 0.5 - FIR_DELAY) / rate
    return time, upper / lower


def levels_at(rows):
    return [(index / 2048, theory.AMP_AT[index] / theory.AMP_CEILING) for index in rows]


def times_at(time, gain, rows, falling):
    """When the envelope passes the listed rows of the amplifier curve: (level, seconds)."""
    return [(level, crossing(time, gain, share, falling)) for level, share in levels_at(rows)]


def amp_attack(page, render, axes):
    for x in (0, 0.1, 0.3, 0.5, 0.7, 1):
        ms = theory.amp_attack_ms(x)
        settings = {"amplifier_env_attack": x}
        reach = ms / 1000 * 0.95 + 0.001
        rate = FAST_RATE if ms < 20 else RATE
        time, gain = amplitude(render, settings, reach + 1, reach, rate)
        for level, seconds in times_at(time, gain, (384, 1024, 1280), False):
            wanted = -np.log(1 - level) / np.log(5) * ms / 1000
            # The quickest attack passes its first rows within a few samples of the output.
            page.percent(f"amplifier attack at {x:g}, to {level:g}", seconds, wanted,
                         3 if wanted > 0.0003 else 6, "s")
        axes.plot(time / ms * 1000, gain, lw=0.8, label=f"{x:g}: {ms:.4g} ms")
    axes.set(xlim=(0, 1), ylim=(0, 1.1), title="amplifier attack", xlabel="time / attack time")
    axes.legend()


def amp_fall(page, render, axes, what, control):
    for x in (0, 0.05, 0.1, 0.2, 0.4, 0.6, 0.8, 1):
        if what == "release" and x == 0:
            continue  # below 0.01 the release is linear
        ms = theory.amp_decay_ms(x)
        rate = FAST_RATE if ms < 20 else RATE
        # A decay begins at 0.8 at the end of the attack; time counts from there or from the key.
        settings, start, hold = {control: x}, 0.0, 0.0
        if what == "decay":
            settings["amplifier_env_sustain"] = 0
            start, hold = theory.amp_attack_ms(0) / 1000, 999
        else:
            start = hold = 0.05
        length = start + ms / 1000 * 0.75 + 0.002
        time, gain = amplitude(render, settings, hold, length, rate)
        time = time - start
        found = times_at(time[time > 0], gain[time > 0], (1024, 512, 384), True)
        for level, seconds in found:
            wanted = np.log10(0.8 / level) * ms / 1000
            page.percent(f"amplifier {what} at {x:g}, to {level:g}", seconds, wanted, 3, "s")
        axes.plot(time / ms * 1000, gain, lw=0.8, label=f"{x:g}: {ms:.4g} ms")
    axes.set(xlim=(0, 0.75), ylim=(0, 1.1), title=f"amplifier {what}", xlabel=f"time / {what} time")
    axes.legend()


def linear_release(page, render, axes):
    for x in (0.0, 0.0095):
        ms = theory.amp_linear_ms(x)
        time, gain = amplitude(render, {"amplifier_env_release": x}, 0.05, 0.055, FAST_RATE)
        after = time > 0.05
        found = times_at(time[after] - 0.05, gain[after], (1280, 1024, 512, 384), True)
        for level, seconds in found:
            page.row(f"linear release at {x:g}, to {level:g}", seconds * 1000, (0.8 - level) * ms, 0.03, "ms")
        axes.plot((time - 0.05) * 1000, gain, label=f"{x:g}")
    axes.set(xlim=(-0.5, 3), title="linear release", xlabel="ms")
    axes.legend()


def amp_sustain(page, render):
    for x in (0.2, 0.4, 0.6, 1.0):
        settings = {"amplifier_env_sustain": x, "amplifier_env_decay": 0.1}
        time, gain = amplitude(render, settings, 9, 0.5, RATE)
        index = x * 0.8 * 2048
        rows = np.array(theory.AMP_ROWS)
        wanted = np.interp(index, rows[:, 0], rows[:, 1]) / theory.AMP_CEILING
        page.row(f"amplifier sustain at {x:g}: amplitude", gain[-100:].mean(), wanted, 0.006)


# Filter: the pitch of the singing filter is the cutoff --------------------------------------------

TAIL = 0.05  # seconds at the end, lost to the analytic signal


class SingingFilter:
    """Turns a self-oscillation, whose pitch follows the cutoff, back into the envelope."""

    base, amount = 220, 0.55  # Hz of the resting filter, envelope amount

    def __init__(self, render, early):
        self.render, self.early = render, early
        self.units = calibration(render, early)

    def job(self, settings, hold, seconds):
        every = {**BARE, "opts_revision": self.early, "osc_1_range": 5, "osc_2_range": 5,
                 "osc_3_range": 5, "filter_resonance": 1, "mixer_osc_1": 0.5,
                 "filter_cutoff": knob(self.base, self.early), "filter_env_amount": self.amount,
                 "amplifier_env_release": 0.9, **settings}
        # An oscillator sets the filter singing ahead of the note, and is closed again.
        return Job(every, [(60, 100, ON, ON + hold)], ON + seconds + TAIL,
                   FAST_RATE if seconds < 0.6 else RATE, ["--auto", "osc_1_active=0@0.1"])

    def envelope(self, settings, hold, seconds):
        one = self.job(settings, hold, seconds)
        sound = self.render(one)[:, 0]
        start = int(ON * one.rate)
        phase = np.unwrap(np.angle(signal.hilbert(sound)))
        step = max(int(one.rate * seconds / 4000), one.rate // 8000)
        hz = np.diff(phase[::step]) * one.rate / (2 * np.pi * step)
        time = ((np.arange(len(hz)) + 0.5) * step - start - FIR_DELAY) / one.rate
        units = self.units(np.clip(hz, 115, 17000))
        level = (units - units_of(self.base, self.early)) / (theory.filter_scale(self.early) * self.amount)
        inside = time < seconds
        return time[inside], level[inside]


def smooth(level, width):
    return signal.savgol_filter(level, width, 2)


def filter_attack(page, singer, name, axes):
    for x in (0.15, 0.3, 0.5, 0.7, 0.9):
        seconds = theory.filter_attack_seconds(x)
        time, level = singer.envelope({"filter_env_attack": x, "filter_env_sustain": 1,
                                       "filter_env_decay": 0.5}, 99, seconds + 0.01)
        level = smooth(level, 31)
        half = (time > 0) & (time < seconds)
        for wanted_level in (0.15, 0.3, 0.45):
            wanted = -np.log2(1 - wanted_level) * seconds
            page.percent(f"{name}, filter attack at {x:g}, to {wanted_level:g}",
                         crossing(time[half], level[half], wanted_level, False), wanted,
                         3 if x > 0.2 else 8, "s")
        axes.plot(time / seconds, level, lw=0.7, label=f"{x:g}: {seconds:.4g} s")
    t = np.linspace(0, 1, 100)
    axes.plot(t, 1 - 0.5 ** t, "k--", lw=0.6)
    axes.set(xlim=(0, 1.02), ylim=(0, 0.6), title=f"{name}: filter attack", xlabel="time / attack time")
    axes.legend()


def quick_attack(page, singer, name):
    """The shortest attacks last a few cycles: they are seen from a higher pitch, and less well."""
    singer.base, singer.amount = 3000, 0.25
    for x in (0.05, 0.1):
        seconds = theory.filter_attack_seconds(x)
        time, level = singer.envelope({"filter_env_attack": x, "filter_env_sustain": 1,
                                       "filter_env_decay": 0.5, "amplifier_env_attack": 0}, 99, 0.05)
        level = smooth(level, 5)
        inside = (time > 0) & (time < seconds)
        page.percent(f"{name}, filter attack at {x:g}, to 0.4", crossing(time[inside], level[inside], 0.4, False),
                     -np.log2(0.6) * seconds, 8, "s")
    singer.base, singer.amount = SingingFilter.base, SingingFilter.amount


def filter_decay(page, singer, name, axes):
    for attack, decay in ((0.0, 0.3), (0.0, 0.5), (0.0, 0.7), (0.4, 0.5)):
        td, ta = theory.filter_decay_seconds(decay), theory.filter_attack_seconds(attack)
        length = min(td, 8.0)
        time, level = singer.envelope({"filter_env_attack": attack, "filter_env_sustain": 0,
                                       "filter_env_decay": decay}, 99, ta + length)
        curve = theory.filter_decay_curve(decay, 0, attack, 0.5, length, RATE)
        when = np.arange(1, len(curve) + 1) / (8 * RATE)
        level = smooth(level, 15)
        after = time - ta
        inside = (after > max(0.004, td * 0.02)) & (after < length * 0.95)
        for share in (0.35, 0.25, 0.12, 0.06):
            wanted = crossing(when, curve, share)
            if 0.006 < wanted < length * 0.9:
                page.percent(f"{name}, filter decay at {decay:g} after attack {attack:g}, to {share:g}",
                             crossing(after[inside], level[inside], share), wanted, 3, "s")
        error = level[inside] - np.interp(after[inside], when, curve)
        page.row(f"{name}, filter decay at {decay:g} after attack {attack:g}: largest error",
                 max(error, key=abs), 0, 0.008)
        axes.plot(after / td, level, lw=0.7, label=f"attack {attack:g}, decay {decay:g}")
        axes.plot(when[::400] / td, curve[::400], "--", lw=0.7, color="k")
    axes.set(xlim=(-0.05, 1), ylim=(0, 0.55), title=f"{name}: filter decay", xlabel="time / decay time")
    axes.legend()


def filter_sustain(page, singer, name):
    for x in (0.3, 1.0):
        time, level = singer.envelope({"filter_env_sustain": x, "filter_env_decay": 0.25}, 99, 1.0)
        curve = theory.filter_decay_curve(0.25, x, 0.0, 0.5, 0.95, RATE)
        page.row(f"{name}, filter sustain at {x:g} after 0.9 s", np.median(level[(time > 0.88) & (time < 0.92)]),
                 curve[int(0.9 * 8 * RATE)], 0.004)


def filter_release(page, singer, name, axes):
    for x in (0.2, 0.35, 0.5, 0.7):
        tr = theory.filter_decay_seconds(x)
        hold = 0.4
        time, level = singer.envelope({"filter_env_release": x, "filter_env_sustain": 1,
                                       "filter_env_decay": 0.2}, hold, hold + min(tr * 0.7, 6) + 0.01)
        level = smooth(level, 9)
        begin = np.median(level[(time > hold - 0.03) & (time < hold - 0.001)])
        after = time - hold
        inside = after > 0
        for share in (0.7, 0.5, 0.3):
            wanted = -np.log10(share) * tr
            if wanted < min(tr * 0.7, 6):
                page.percent(f"{name}, filter release at {x:g}, to {share:g} of the level held",
                             crossing(after[inside], level[inside] / begin, share), wanted,
                             3 if tr > 0.1 else 6, "s")
        axes.plot(after / tr, level / begin, lw=0.7, label=f"{x:g}: {tr:.4g} s")
    t = np.linspace(0, 0.7, 100)
    axes.plot(t, 0.1 ** t, "k--", lw=0.6)
    axes.set(xlim=(-0.05, 0.7), ylim=(0, 1.1), title=f"{name}: filter release", xlabel="time / release time")
    axes.legend()


def measure(page, render):
    page.text("""Amplifier: white noise with the envelope is laid against the same noise, sample for
        sample, behind an open amplifier; their ratio is the amplitude. It is read where it passes
        listed rows of the amplifier curve, which turn it back into the envelope's own level. Times
        count from the key; the ceiling of the curve at 0.75 hides the top of every envelope.""")
    figure, axes = plt.subplots(2, 2, figsize=(12, 8))
    amp_attack(page, render, axes[0, 0])
    amp_fall(page, render, axes[0, 1], "decay", "amplifier_env_decay")
    amp_fall(page, render, axes[1, 0], "release", "amplifier_env_release")
    linear_release(page, render, axes[1, 1])
    amp_sustain(page, render)
    for plot in axes.flat:
        plot.grid(alpha=0.3)
    page.plot(figure, "Amplitude behind the amplifier curve, time in units of the intended time: one "
              "curve for all settings, but for the quickest.")

    page.text("""Filter: at full resonance the filter sings, and its pitch is the cutoff; renders with the
        cutoff knob alone turn pitch into cutoff. The intended attack ends at 0.5 after the attack
        time; the decay is the discharge through the growing resistor, worked out step by
        step.""")
    figure, axes = plt.subplots(2, 3, figsize=(15, 8))
    for (name, early), row in zip(ENGINES, axes):
        singer = SingingFilter(render, early)
        filter_attack(page, singer, name, row[0])
        quick_attack(page, singer, name)
        filter_decay(page, singer, name, row[1])
        filter_release(page, singer, name, row[2])
        filter_sustain(page, singer, name)
        for plot in row:
            plot.grid(alpha=0.3)
    page.plot(figure, "Filter envelope from the pitch of the singing filter; dashed: intended.")
