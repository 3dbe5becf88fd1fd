# SPDX-License-Identifier: GPL-3.0-or-later
"""The library as a whole: its sounds side by side, what they are made of, which are alike."""

import csv
import dataclasses
import os
from dataclasses import dataclass

import numpy as np

from . import distance, source

NEAR_COPY = 5.0  # dB: as far as one knob turned by a tenth takes a sound
PAIRS = 25


@dataclass
class Entry:
    sound: object
    figures: object
    traits: dict
    bank: str
    category: str          # empty: the sound lies in the bank itself
    nearest: int = -1      # index of the closest other entry
    gap: float = float("inf")

    def flags(self):
        close = [f"within {self.gap:.1f} dB of another sound"] if self.gap < NEAR_COPY else []
        return self.figures.flags() + close


def place(path):
    """Bank and category of a file: the bank is the folder that holds a config.ini."""
    folder = os.path.dirname(os.path.abspath(path))
    above = os.path.dirname(folder)
    if source.has_bank_file(folder):
        return os.path.basename(folder), ""
    return os.path.basename(above), os.path.basename(folder)


def compare(entries, portraits):
    """Fills in the neighbours; returns the closest pairs as (distance, entry, entry)."""
    table = distance.matrix(portraits)
    if len(entries) > 1:
        away = table + np.diag(np.full(len(entries), np.inf))
        for row, entry in zip(away, entries):
            entry.nearest = int(np.argmin(row))
            entry.gap = float(row[entry.nearest])
    return [(gap, entries[i], entries[k]) for gap, i, k in distance.closest_pairs(table, PAIRS)]


def text(entries, shares, pairs):
    out = ["closest pairs, dB"]
    out += [f"  {gap:5.1f}  {one.sound.name}  /  {other.sound.name}" for gap, one, other in pairs]
    for group, counts in shares.items():
        out += ["", f"{group}, of {len(entries)} sounds"]
        out += [f"  {count:4}  {100 * count / len(entries):3.0f} %  {name}"
                for name, count in counts]
    return "\n".join(out)


def write_csv(path, entries):
    figures = [field.name for field in dataclasses.fields(entries[0].figures)]
    with open(path, "w", newline="", encoding="utf-8") as file:
        writer = csv.writer(file, lineterminator="\n")
        writer.writerow(["bank", "category", "name", *figures, *entries[0].traits, "neighbour",
                         "distance", "off", "source"])
        for entry in entries:
            numbers = [getattr(entry.figures, name) for name in figures]
            writer.writerow([
                entry.bank, entry.category, entry.sound.name,
                *(f"{n:.4g}" if isinstance(n, float) else n for n in numbers),
                *(", ".join(names) for names in entry.traits.values()),
                entries[entry.nearest].sound.name if entry.nearest >= 0 else "", f"{entry.gap:.2f}",
                "; ".join(entry.flags()), "; ".join(entry.sound.faults)])
