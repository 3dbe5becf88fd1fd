# SPDX-License-Identifier: GPL-3.0-or-later
"""Decay times, echo density, width, spectrum and wet law of the reverb."""

import matplotlib.pyplot as plt
import numpy as np
from scipy import signal

from .. import effects
from ..analysis import db, rms, smooth_octaves
from ..render import Job
from .delay import BURST, ON, RATE, SOURCE, dry_and_wet, impulse_response

TITLE = "Reverb"
KNOBS = np.arange(9) / 8
COLOURS = [0, 0.25, 0.5, 0.75, 1]
BANDS = {"low": (100, 350), "high": (1500, 6000)}
REVERB = {"fx_active": 1, "fx_del_dry_wet": 0, "fx_rev_dry_wet": 1, "fx_rev_width": 1}


def burst(seconds, **settings):
    return Job({**SOURCE, **REVERB, **settings}, [(60, 127, ON, ON + BURST)], seconds, RATE)


def decay_seconds(sound, band, rate=RATE):
    """Time of 60 dB from the slope of the backward energy between -5 and -35 dB, or as far as the
    recording goes."""
    sos = signal.butter(4, band, "bandpass", fs=rate, output="sos")
    power = sum(signal.sosfilt(sos, sound[:, c]) ** 2 for c in range(sound.shape[1]))
    step = rate // 100
    level = 10 * np.log10(power[: len(power) // step * step].reshape(-1, step).mean(1) + 1e-20)
    time = (np.arange(len(level)) + 0.5) * step / rate
    top = np.argmax(level)
    level, time = level[top:], time[top:]
    smooth = signal.savgol_filter(level, min(11, len(level) // 2 * 2 - 1), 1)
    inside = (smooth < smooth[0] - 5) & (smooth > max(smooth[0] - 40, -150))
    last = np.argmax(smooth < max(smooth[0] - 40, -150)) or len(smooth)
    inside[last:] = False
    if inside.sum() < 20:
        inside = time > time[0] + 0.3
    slope = np.polyfit(time[inside], level[inside], 1)[0]
    return -60 / slope


def decays(page, render):
    page.text("""Decay: slope of the tail after a burst, in a low and in a high band, for nine times and five
        colours. The knobs pick a time from a list, and the list becomes a gain in the loop by a
        fixed power; the loop's own length then gives the decay. The intended value is that of
        the tank, simulated from its formulas in double precision with the same burst, over the
        first two seconds; how far the tank itself is
        from the list shows in the plot and in reverb.csv.""")
    cases = [(t, c) for c in COLOURS for t in KNOBS]
    jobs = []
    for t, c in cases:
        longest = max(effects.reverb_seconds(t), effects.low_band_seconds(t, c))
        jobs.append(burst(ON + BURST + min(max(0.8 * longest, 1.2), 7), fx_rev_time=t, fx_rev_color=c))
    sounds = render.batch(jobs)
    start, length = int(ON * RATE), int(2.2 * RATE)
    dry = render(Job({**SOURCE, "fx_active": 0}, jobs[0].notes, 3, RATE))[start : start + length, 0]
    model = effects.simulate_tank(cases, RATE, dry, start)
    table, found = [], {}
    for k, ((t, c), sound) in enumerate(zip(cases, sounds)):
        if (t, c) == (0.625, 0.5):
            wet = effects.reverb_wet(1)
            same = min(length, len(sound) - start)
            got = (sound[start : start + same] - (1 - wet) * dry[:same, None]) / wet
            rest = rms(got - model[:same, k]) / rms(model[:same, k])
            page.row("time 0.625, colour 0.5: what differs from the simulated tank, sample by sample",
                     db(rest), -40, 0, "dB", "most")
        ahead = int((BURST + 0.03) * RATE)
        tail = sound[start + ahead :]
        row = [t, c]
        for band, edges in BANDS.items():
            listed = effects.low_band_seconds(t, c) if band == "low" else effects.reverb_seconds(t)
            wanted = decay_seconds(model[ahead:, k], edges)
            got = decay_seconds(tail[: length - ahead], edges)
            found[(t, c, band)] = (listed, got, wanted)
            row += [f"{listed:.3f}", f"{wanted:.3f}", f"{got:.3f}"]
        table.append(row)
    figure, axes = plt.subplots(1, 2, figsize=(12, 5), sharey=True)
    for band, plot in zip(BANDS, axes):
        for c in COLOURS:
            listed, got, wanted = np.array([found[(t, c, band)] for t in KNOBS]).T
            got, wanted = (np.where(v > 0, v, np.nan) for v in (got, wanted))  # endless
            plot.semilogy(KNOBS, got, "o-", ms=3, lw=0.7, label=f"colour {c:g}")
            plot.semilogy(KNOBS, wanted, "kx", ms=5)
            plot.semilogy(KNOBS, listed, "--", lw=0.6, color=plot.lines[-2].get_color())
            # Compared as rates of decay, dB per second, which also serve where nothing decays.
            got, wanted = np.array([found[(t, c, band)][1:] for t in KNOBS]).T
            far = 60 / got - 60 / wanted
            page.row(f"{band} band, colour {c:g}: rate of decay, largest distance from the simulated tank",
                     max(far, key=abs), 0, 0.5, "dB/s")
        plot.set(xlabel="fx_rev_time", ylabel="seconds to -60 dB", title=f"{band} band")
        plot.grid(alpha=0.3, which="both")
        plot.legend()
    page.plot(figure, "Measured decay (dots), simulated tank (crosses), the list (dashed). At position 1 "
              "of a band its gain is 1: no dot where nothing falls within the two seconds.")
    page.data("reverb.csv", ["time", "colour", "low list", "low tank", "low measured", "high list",
                             "high tank", "high measured"], table)
    middle = np.array([found[(t, 0.5, "high")] for t in KNOBS[1:-1]])
    page.text(f"""At colour 0.5 and times 1/8 to 7/8 the tank gives, over the list, in the high band:
        {', '.join(f'{r:.2f}' for r in middle[:, 1] / middle[:, 0])}; in the low band:
        {', '.join(f'{found[(t, 0.5, "low")][1] / found[(t, 0.5, "low")][0]:.2f}' for t in KNOBS[1:-1])}.""")


def echo_density(response):
    """Share of samples outside one standard deviation in 20 ms windows, 1 for noise."""
    window = int(0.02 * RATE)
    hann = np.hanning(window)
    hann /= hann.sum()
    times, density = [], []
    for at in range(0, int(0.5 * RATE), window // 4):
        part = response[at : at + window]
        deviation = np.sqrt((hann * part * part).sum())
        density.append((hann * (abs(part) > deviation)).sum() / 0.3173)
        times.append((at + window / 2) / RATE)
    return np.array(times), np.array(density)


def structure(page, render):
    h, = dry_and_wet(render, [burst(4, fx_rev_time=0.625, fx_rev_color=0.5)])
    start = int((ON - 0.01) * RATE)
    dry = render(burst(3, fx_active=0))
    dry[int((ON + 4 * BURST) * RATE) :] = 0
    tank = effects.simulate_tank([(0.625, 0.5)], RATE, dry[start : start + 2 * RATE, 0], start)[:, 0]
    tank = np.concatenate((np.zeros((start, 2)), tank))
    model = impulse_response(dry[: len(tank)], tank).T
    figure, axes = plt.subplots(3, 1, figsize=(10, 10))
    for channel, (left, plot) in enumerate(zip(("left", "right"), axes)):
        wet = h[channel].copy()
        wet[:24] = 0  # the direct share
        plot.plot(np.arange(9600) / RATE * 1000, wet[:9600], lw=0.5)
        plot.set(title=f"impulse response, {left}", xlabel="ms")
        plot.grid(alpha=0.3)
        reach = []
        for response, label in ((wet, f"measured, {left}"), (model[:, channel], f"tank, {left}")):
            time, density = echo_density(response)
            axes[2].plot(time * 1000, density, lw=0.9, label=label)
            reach.append(time[np.argmax(density > 0.8)] * 1000)
        page.row(f"echo density passes 0.8 of noise, {left}", reach[0], reach[1], 15, "ms")
        first = [int(np.argmax(abs(r[24:3000]) > 0.5 * abs(r[24:3000]).max())) + 24
                 for r in (wet, model[:, channel])]
        page.row(f"first strong arrival, {left}", first[0], first[1], 1, "samples")
    axes[2].set(xlabel="ms", ylabel="echo density", ylim=(0, 1.3))
    axes[2].grid(alpha=0.3)
    axes[2].legend()
    page.plot(figure, "Impulse response and echo density at time 0.625; 1 is the density of noise.")

    f, power = signal.welch(h[0][24 : RATE // 2], RATE, nperseg=4096)
    wanted = abs(effects.input_low_pass(f, RATE)) ** 2
    figure, axes = plt.subplots(figsize=(9, 4))
    near = (f > 6500) & (f < 7200)
    base, base_wanted = power[near].mean(), wanted[near].mean()
    axes.plot(f, 10 * np.log10(power / base), lw=0.7, label="measured")
    axes.plot(f, 10 * np.log10(wanted / base_wanted + 1e-15), "k--", lw=0.7, label="order 16 at 8 kHz")
    axes.set(xlim=(0, 16000), ylim=(-90, 10), xlabel="Hz", ylabel="dB", title="spectrum of the reverb")
    axes.grid(alpha=0.3)
    axes.legend()
    page.plot(figure, "Nothing above 8 kHz enters the tank.")
    for hz, tolerance in ((8000, 2), (8500, 2), (9000, 2), (10000, 3)):
        band = (f > hz - 60) & (f < hz + 60)
        page.row(f"spectrum at {hz} Hz over that at 6.9 kHz", 10 * np.log10(power[band].mean() / base),
                 10 * np.log10(wanted[band].mean() / base_wanted), tolerance, "dB")
    above = (f > 12000) & (f < 20000)
    page.row("spectrum above 12 kHz", 10 * np.log10(power[above].mean() / base), -55, 0, "dB", "most")


def width_and_wet(page, render):
    knobs = [0, 0.25, 0.5, 0.75, 1]
    sounds = render.batch([burst(3, fx_rev_time=0.625, fx_rev_width=k) for k in knobs])
    tails = [s[int((ON + BURST + 0.05) * RATE) :] for s in sounds]
    full = tails[-1]
    mid, side = full.sum(1) / 2, (full[:, 0] - full[:, 1]) / 2
    figure, axes = plt.subplots(figsize=(7, 3.5))
    got, wanted = [], []
    for knob, tail in zip(knobs, tails):
        got.append(np.corrcoef(tail.T)[0, 1])
        share = (0.999 * knob) / 0.999  # of the side that is left, over width 1
        wanted.append(np.corrcoef(mid + share * side, mid - share * side)[0, 1])
        page.row(f"width {knob:g}: correlation of left and right", got[-1], wanted[-1], 0.03)
    axes.plot(knobs, got, "o-", label="measured")
    axes.plot(knobs, wanted, "k--", label="from width 1 by the formula")
    axes.set(xlabel="fx_rev_width", ylabel="correlation")
    axes.grid(alpha=0.3)
    axes.legend()
    page.plot(figure, "Correlation of the two channels of the tail.")

    knobs = [0, 0.25, 0.5, 0.75, 1]
    jobs = [burst(3, fx_rev_time=0.625, fx_rev_dry_wet=k, fx_del_dry_wet=0) for k in knobs]
    loudest = rms(render(jobs[-1])[int((ON + BURST + 0.05) * RATE) :, 0])
    for knob, job, h in zip(knobs, jobs, dry_and_wet(render, jobs)):
        direct = h[0][:3].max() / (1 - 0.0001)
        page.row(f"dry/wet {knob:g}: direct sound", direct, 1 - effects.reverb_wet(knob), 0.003)
        if knob > 0:
            tail = rms(render(job)[int((ON + BURST + 0.05) * RATE) :, 0])
            page.row(f"dry/wet {knob:g}: tail over that at 1", db(tail / loudest),
                     db(effects.reverb_wet(knob) / effects.reverb_wet(1)), 0.2, "dB")


def endless(page, render):
    sound = render(burst(25, fx_rev_time=1, fx_rev_color=0.5))
    figure, axes = plt.subplots(figsize=(8, 3.5))
    for band, edges in BANDS.items():
        sos = signal.butter(4, edges, "bandpass", fs=RATE, output="sos")
        power = sum(signal.sosfilt(sos, sound[:, c]) ** 2 for c in (0, 1))
        level = 10 * np.log10(power[: len(power) // RATE * RATE].reshape(-1, RATE // 4).mean(1) + 1e-20)
        time = (np.arange(len(level)) + 0.5) / 4
        axes.plot(time, level, label=band)
        slope = np.polyfit(time[8:], level[8:], 1)[0]
        page.row(f"time 1, {band} band: slope of the endless tail", slope, 0, 0.3 if band == "low" else 3,
                 "dB/s", "most")
    axes.set(xlabel="s", ylabel="dB", title="time 1, colour 0.5")
    axes.grid(alpha=0.3)
    axes.legend()
    page.plot(figure, "The endless tail. The highs are lost in the 12 kHz low-pass and the moving reads.")


def measure(page, render):
    decays(page, render)
    structure(page, render)
    width_and_wet(page, render)
    endless(page, render)
