# SPDX-License-Identifier: GPL-3.0-or-later
"""The page: every sound to listen to, with what was measured, in a folder that stands alone."""

import json
import math
import os
import re
import subprocess
from pathlib import Path

import matplotlib

matplotlib.use("Agg")
import matplotlib.image  # noqa: E402
import numpy as np
import soundfile
from scipy import signal

from . import report

HERE = Path(__file__).resolve().parent
LONGEST = 20.0  # s: of sounds that do not end
AFTER = 0.3     # s of silence behind a sound
WAVE_POINTS = 180
PICTURE = (260, 64)  # columns, rows
LOWEST, OCTAVES = 30.0, 9
DEPTH = 75.0  # dB from the brightest to black


def slug(entry):
    words = f"{entry.bank} {entry.category} {entry.sound.name}".lower()
    return re.sub(r"[^a-z0-9]+", "-", words).strip("-")


def outline(x):
    """Peaks along the time, 0..100 of full scale."""
    parts = np.array_split(np.abs(x).max(axis=1), WAVE_POINTS)
    return [min(100, round(100 * float(part.max()))) for part in parts]


def spectrogram(path, x, rate):
    """Levels over time and pitch, low below."""
    columns, rows = PICTURE
    hop = len(x) // columns
    f, _, s = signal.stft(x.mean(axis=1), rate, nperseg=4096, noverlap=max(0, 4096 - hop),
                          padded=False)
    power = np.square(np.abs(s))
    hz = LOWEST * 2 ** (OCTAVES * np.arange(rows) / (rows - 1))
    hz = hz[hz < rate / 2]
    picture = np.array([np.interp(hz, f, column) for column in power.T]).T
    level = 10 * np.log10(np.maximum(picture, 1e-12))
    top = level.max()
    matplotlib.image.imsave(path, level[::-1], cmap="magma", vmin=top - DEPTH, vmax=top)


def audible(x):
    """Samples until the sound stays 66 dB below its peak."""
    size = np.abs(x).max(axis=1)
    return np.flatnonzero(size >= size.max() * 5e-4)[-1] + 1


def compress(wav, seconds, target):
    subprocess.run(["ffmpeg", "-hide_banner", "-loglevel", "error", "-y", "-i", wav,
                    "-t", f"{seconds:.4f}", "-codec:a", "libmp3lame", "-q:a", "5", target],
                   check=True)


def number(value):
    """What JSON can hold."""
    return round(value, 3) if math.isfinite(value) else None


def row(entry, name):
    figures = entry.figures
    return {
        "name": entry.sound.name, "bank": entry.bank, "category": entry.category, "file": name,
        "info": entry.sound.about.get("info", ""), "phrase": entry.sound.phrase,
        "loudness": number(figures.loudness), "spread": number(figures.spread),
        "peak": number(figures.peak), "four": number(figures.chord_peak),
        "attack": number(figures.attack), "end": number(figures.end),
        "centroid": number(figures.centroid), "motion": number(figures.motion),
        "pitch": number(figures.pitch), "correlation": number(figures.correlation),
        "soft": number(figures.soft),
        "traits": entry.traits, "nearest": entry.nearest, "gap": number(entry.gap),
        "flags": entry.flags(), "faults": entry.sound.faults,
    }


def one_sound(folder, entry, wav):
    """Writes the sound and picture of a row."""
    name = slug(entry)
    x, rate = soundfile.read(wav, dtype="float64", always_2d=True)
    x = x[: int(audible(x) + AFTER * rate)][: int(LONGEST * rate)]
    compress(wav, len(x) / rate, os.path.join(folder, "sounds", name + ".mp3"))
    spectrogram(os.path.join(folder, "pictures", name + ".png"), x, rate)
    data = row(entry, name)
    data["outline"], data["seconds"] = outline(x), number(len(x) / rate)
    return data


def write(pool, folder, entries, shares, pairs, phrase_file):
    """Returns the file to open. phrase_file: the WAV file of a sound."""
    for name in ("sounds", "pictures"):
        os.makedirs(os.path.join(folder, name), exist_ok=True)
    rows = list(pool.map(lambda entry: one_sound(folder, entry, phrase_file(entry.sound)), entries))
    index = {id(entry): number for number, entry in enumerate(entries)}
    data = {"sounds": rows, "shares": shares, "nearCopy": report.NEAR_COPY,
            "pairs": [(round(gap, 2), index[id(one)], index[id(other)])
                      for gap, one, other in pairs]}
    fill = {"STYLE": (HERE / "page.css").read_text(), "SCRIPT": (HERE / "page.js").read_text(),
            "PLAYER": (HERE / "player.js").read_text(),
            "DATA": json.dumps(data, separators=(",", ":")).replace("</", "<\\/")}
    target = os.path.join(folder, "index.html")
    with open(target, "w", encoding="utf-8") as file:
        file.write(re.sub("@(STYLE|SCRIPT|PLAYER|DATA)@", lambda found: fill[found.group(1)],
                          (HERE / "page.html").read_text()))
    return target
