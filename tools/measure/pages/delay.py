# SPDX-License-Identifier: GPL-3.0-or-later
"""Delay times, repeats, ping-pong, width and wet law of the delay."""

import matplotlib.pyplot as plt
import numpy as np

from .. import effects
from ..analysis import db
from ..render import Job
from ..setup import BARE

TITLE = "Delay"
RATE = 48000
ON, BURST = 0.4, 0.05
TEMPOS = [60, 120, 173.3, 300]
NAMES = effects.NOTE_LENGTHS
# A burst of loud noise; with and without effects the instrument before them is the same.
SOURCE = {**BARE, "osc_1_active": 0, "mixer_noise": 1, "mixer_noise_type_sw": 1, "fx_rev_dry_wet": 0,
          "fx_del_dry_wet": 1, "fx_del_width": 1, "fx_del_feedback": 0.5, "filter_type": 0}


def burst(settings, seconds, bpm=120, **more):
    return Job({**SOURCE, **settings, **more}, [(60, 127, ON, ON + BURST)], seconds, RATE,
               ["--tempo", f"{bpm:g}"])


def impulse_response(dry, wet):
    """What the effects make of an impulse, both channels, from the burst with and without them."""
    start = int((ON - 0.01) * RATE)
    count = 1 << int(np.ceil(np.log2(2 * (len(wet) - start))))
    x = np.fft.rfft(dry[start:, 0], count)
    power = abs(x) ** 2
    power += 1e-5 * power.max()
    out = [np.fft.irfft(np.fft.rfft(wet[start:, c], count) * np.conj(x) / power, count) for c in (0, 1)]
    return np.array(out)[:, : len(wet) - start]


def dry_and_wet(render, jobs):
    """Impulse responses of the jobs; their dry twins are rendered too."""
    twins = [Job({**job.settings, "fx_active": 0}, job.notes, 2.5, RATE) for job in jobs[:1]]
    dry = render(twins[0])
    dry[int((ON + 4 * BURST) * RATE) :] = 0  # the noise floor is over when the voice has ended
    return [impulse_response(np.pad(dry, ((0, max(0, len(w) - len(dry))), (0, 0)))[: len(w)], w)
            for w in render.batch(jobs)]


def times(page, render):
    page.text("""A burst of noise with and without effects gives their impulse response. The left echo
        stands at D samples, the right one at D / 2; at 48 kHz the memory ends at 131,071.""")
    rows = []
    for bpm in TEMPOS:
        lengths = [effects.delay_samples(i, bpm, RATE) for i in range(15)]
        jobs = [burst({"fx_active": 1, "fx_del_time": i}, ON + BURST + d / RATE + 0.2, bpm)
                for i, d in enumerate(lengths)]
        wrong = 0
        for index, (d, h) in enumerate(zip(lengths, dry_and_wet(render, jobs))):
            left, right = (100 + int(np.argmax(abs(channel[100:]))) for channel in h)
            rows.append([NAMES[index], bpm, d, left, d // 2, right])
            if index in (0, 4, 8, 14):
                page.row(f"{NAMES[index]} at {bpm:g}: left echo", left, d, 0, "samples")
            wrong += (left != d) + (right != d // 2)
        page.row(f"all 15 lengths at {bpm:g}: echoes not on their sample", wrong, 0, 0)
    page.data("delay-times.csv", ["length", "bpm", "D intended", "left", "D/2 intended", "right"], rows)


def repeats(page, render):
    samples = effects.delay_samples(13, 120, RATE)
    knobs = [0, 0.25, 0.5, 0.75, 1]
    jobs = [burst({"fx_active": 1, "fx_del_time": 13, "fx_del_feedback": k}, 4) for k in knobs]
    figure, axes = plt.subplots(2, 1, figsize=(10, 6), sharex=True)
    for knob, h in zip(knobs, dry_and_wet(render, jobs)):
        f = np.fft.rfftfreq(1 << 19, 1 / RATE)
        wanted = [np.fft.irfft(r) for r in effects.delay_response(f, RATE, samples, knob)]
        for channel, label in ((0, "left"), (1, "right")):
            first = samples if channel == 0 else samples // 2
            got_db, wanted_db = [], []
            for k in range(4):
                window = slice(first + k * samples - 400, first + k * samples + 800)
                got_db.append(10 * np.log10((h[channel][window] ** 2).sum() + 1e-12))
                wanted_db.append(10 * np.log10((wanted[channel][window] ** 2).sum() + 1e-12))
            sure = [k for k in range(4) if wanted_db[k] > -38]
            if sure:
                error = np.array([got_db[k] - wanted_db[k] for k in sure])
                page.row(f"feedback {knob:g}, {label}: first {len(sure)} repeats, largest error",
                         max(error, key=abs), 0, 0.3, "dB")
            if knob == 0.75:
                t = np.arange(len(h[0])) / RATE
                axes[channel].plot(t, h[channel], lw=0.6, label="measured")
                axes[channel].plot(t, wanted[channel][: len(t)], "k--", lw=0.4, label="formula")
                axes[channel].set(title=label, xlim=(0, 1.0))
                axes[channel].grid(alpha=0.3)
                axes[channel].legend()
    page.plot(figure, "Impulse response at 1/32, 120 beats per minute, feedback 0.75.")


def wet_and_width(page, render):
    samples = effects.delay_samples(13, 120, RATE)
    knobs = [0, 0.25, 0.5, 1]
    jobs = [burst({"fx_active": 1, "fx_del_time": 13, "fx_del_dry_wet": k}, 2) for k in knobs]
    for knob, h in zip(knobs, dry_and_wet(render, jobs)):
        wet = effects.delay_wet(knob)
        # The reverb before it takes its own smallest wet share away.
        page.row(f"dry/wet {knob:g}: direct sound", h[0][:3].max() / (1 - effects.reverb_wet(0)), 1 - wet, 0.003)
        page.row(f"dry/wet {knob:g}: right copy at half the delay", h[1][samples // 2], wet, 0.003)
    knobs = [0, 0.5, 1]
    jobs = [burst({"fx_active": 1, "fx_del_time": 13, "fx_del_width": k}, 2) for k in knobs]
    for knob, h in zip(knobs, dry_and_wet(render, jobs)):
        mono = 1 - 0.999 * knob
        wet = effects.delay_wet(1)
        page.row(f"width {knob:g}: share of the right copy on the left", h[0][samples // 2], wet * mono / 2, 0.004)
        page.row(f"width {knob:g}: right copy", h[1][samples // 2], wet * (1 - mono / 2), 0.004)


def measure(page, render):
    times(page, render)
    repeats(page, render)
    wet_and_width(page, render)
