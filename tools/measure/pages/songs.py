# SPDX-License-Identifier: GPL-3.0-or-later
"""The demo song, and others given by --song: levels, largest steps, stray values."""

import os

import matplotlib.pyplot as plt
import numpy as np
import soundfile

from ..analysis import db, rms
from ..render import Job

TITLE = "Songs"
RATE = 48000
DEMO = "resources/songs/prelude-in-c"

FIRST = 90  # seconds of a given song

# A sound without edges of its own: what steps is the handling of voices.
SOFT = {"osc_1_waveform": 0, "osc_2_waveform": 0, "osc_3_waveform": 0, "osc_1_range": 2,
        "amplifier_env_attack": 0.05, "amplifier_env_release": 0.3, "filter_cutoff": 0.6}


def options_of(settings_file):
    """Options of the renderer, as words, one option a line."""
    with open(settings_file) as lines:
        return [word for line in lines if not line.startswith("#") for word in line.split()]


def steps_of(sound):
    """Largest step between two samples: its size, its sample, and 99.99 % of all steps."""
    steps = abs(np.diff(sound, axis=0)).max(1)
    return steps.max(), int(np.argmax(steps)), np.quantile(steps[steps > 0], 0.9999)


def one_song(page, render, name, file, options, seconds, axes):
    path = render.path(Job(options=[file, *options], seconds=seconds, rate=RATE))
    raw = soundfile.read(path, dtype="float32", always_2d=True)[0]
    sound = raw.astype(float)
    tiny = np.count_nonzero((raw != 0) & (abs(raw) < np.finfo(np.float32).tiny))
    page.row(f"{name}: samples that are not numbers", np.count_nonzero(~np.isfinite(raw)), 0, 0)
    page.row(f"{name}: denormal samples", tiny, 0, 0)
    step, at, _ = steps_of(sound)
    page.text(f"""{name}: {len(sound) / RATE:.1f} s, peak {db(abs(sound).max()):.2f} dBFS, RMS
        {db(rms(sound)):.2f} dBFS; largest step {step:.4f} at {at / RATE:.4f} s.""")

    around = slice(max(0, at - 250), at + 250)
    step_ms = (np.arange(around.start, min(around.stop, len(sound))) - at) / RATE * 1000
    axes[1].plot(step_ms, sound[around], lw=0.8)
    axes[1].set(title=f"largest step, at {at / RATE:.3f} s", xlabel="ms")
    block = RATE // 20
    envelope = abs(sound[: len(sound) // block * block]).reshape(-1, block, 2).max((1, 2))
    axes[0].plot(np.arange(len(envelope)) * block / RATE, envelope, lw=0.6)
    axes[0].set(title=name, xlabel="s", ylim=(0, None))

    soft = [word for k, v in SOFT.items() for word in ("--set", f"{k}={v}")]
    plain = render(Job(options=[file, *options, *soft], seconds=seconds, rate=RATE))
    step, at, usual = steps_of(plain)
    page.row(f"{name}, edgeless sound: largest step (at {at / RATE:.3f} s) over all but 1 in 10,000",
             step / usual, 2, 0, "", "most")
    around = slice(max(0, at - 1000), at + 1000)
    axes[2].plot((np.arange(around.start, min(around.stop, len(plain))) - at) / RATE * 1000,
                  plain[around], lw=0.8)
    axes[2].set(title="edgeless sound, its largest step", xlabel="ms")
    for plot in axes:
        plot.grid(alpha=0.3)


def measure(page, render):
    page.text("""Each song (of given ones the first 90 seconds, in the Init Patch) is rendered twice: with its own sound, where the largest step is an edge of a
        waveform, and with slow triangles behind a half-closed filter, which have no edges, so that
        a click of the voice handling would stand out.""")
    songs = [("demo song", os.path.join(render.root, DEMO + ".mid"),
              options_of(os.path.join(render.root, DEMO + ".settings")), None)]
    songs += [(os.path.basename(file), file, [], FIRST) for file in render.songs]
    figure, axes = plt.subplots(len(songs), 3, figsize=(14, 3 * len(songs)), squeeze=False)
    for song, row in zip(songs, axes):
        one_song(page, render, *song, row)
    page.plot(figure, "Level over time; the largest step; the largest step of the edgeless sound.")
