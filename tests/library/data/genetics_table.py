#!/usr/bin/env python3
# SPDX-License-Identifier: GPL-3.0-or-later
"""Breeds patches by the rules of Genetics, without the instrument's code, and prints the children:
genetics_table.py > genetics_table.txt

All arithmetic is exact; the only rounding is that of the mix and of the values to 32 bits.
"""

import re
import struct
from fractions import Fraction
from pathlib import Path

# All controls that a patch stores, in the order in which Genetics draws for them.
IDS = [
    98, 1, 7, 8, 9, 2, 3, 4, 5, 10, 11, 34, 30, 31, 32, 33, 44, 40, 41, 42, 43, 54, 55, 50, 51, 52,
    53, 60, 61, 62, 63, 64, 65, 66, 70, 81, 71, 72, 74, 75, 76, 77, 78, 79, 80, 90, 91, 92, 93, 100,
    101, 102, 112, 132, 103, 104, 105, 106, 107, 108, 111, 109, 110, 120, 130, 122, 123, 129, 124,
    126, 127, 131, 128, 134, 137, 140, 143, 146, 135, 136, 147, 142, 145, 148, 150, 151, 152, 153,
]  # fmt: skip

# The highest step of those that are not continuous.
STEPS = {1: 3, 10: 4, 30: 6, 40: 6, 50: 6, 31: 5, 41: 5, 51: 5, 100: 48, 101: 48, 122: 14}
STEPS |= {140: 6, 143: 6, 146: 6, 142: 4, 145: 4, 148: 4}
STEPS |= dict.fromkeys([4, 5, 34, 44, 54, 55, 64, 70, 79, 80, 81, 102, 112], 1)
STEPS |= dict.fromkeys([120, 130, 132, 134, 137], 1)

SOURCE_OF = {135: 140, 142: 140, 136: 143, 145: 143, 147: 146, 148: 146}  # same matrix row

# Seed, mix, number of parents. With seed 343 the draw against the mix is the very largest, which
# lets another parent in at mix 0; with 368 that for the parent is. 0xFFFFFFFF runs over 32 bits.
# With 141 and 581 a draw lies on the edge between two parents.
CASES = [
    (343, 0.0, 2),
    (0x1F3A, 0.5, 2),
    (0x1F3A, 0.5, 3),
    (40000, 0.3, 2),
    (12345, 0.7, 3),
    (368, 1.0, 2),
    (65535, 1.0, 3),
    (0xFFFFFFFF, 0.49, 3),
    (141, 1.0, 3),
    (581, 0.5, 2),
]

NAMES = ["First", "Second \u00e4", "Third"]


def f32(value):
    return struct.unpack("f", struct.pack("f", value))[0]


def parent_value(row, parent):
    steps = STEPS.get(IDS[row])
    return (row + parent) % (steps + 1) if steps else (4 * row + parent + 1) / 512


class Draws:
    """s >> 16, then s * 214013 + 2531011; seeded with one step."""

    def __init__(self, seed):
        self.state = self.step(seed)

    @staticmethod
    def step(state):
        return (state * 214013 + 2531011) % 2**32

    def __call__(self):
        drawn, self.state = self.state // 2**16, self.step(self.state)
        return drawn


def breed(seed, mix, count):
    """Of three passes only the last is heard; its seed is the third."""
    seed = (seed + 2) % 2**32
    draw = Draws(seed)
    genes = [draw() % count for _ in range(100)]
    threshold = (1 - Fraction(f32(mix))) * 65535
    parent_of, values = {}, []
    for row, control in enumerate(IDS):
        parent = min(draw() * count // 65535, count - 1)
        if threshold > draw():
            parent = 0
        parent_of[control] = parent_of[SOURCE_OF[control]] if control in SOURCE_OF else parent
        values.append(parent_value(row, parent_of[control]))
    info = "|".join(NAMES[:count])
    if count == 2:
        info += f"|{seed:x}"
    return seed, genes, info, values


def score(inputs, layers):
    (first, first_bias), (second, second_bias), (last, _) = layers
    for weights, biases in ((first, first_bias), (second, second_bias)):
        columns = zip(*weights)
        inputs = [
            max(0, bias + sum(x * w for x, w in zip(inputs, column)))
            for column, bias in zip(columns, biases)
        ]
    return float(sum(x * w for x, w in zip(inputs, last))) + 0.4788643717765808


def stored_layers():
    header = Path(__file__).parents[3] / "library" / "GeneticsWeights.h"
    tables = {}
    for name, body in re.findall(r"double (k\w+)\S+ =\s*(\{.*?\});", header.read_text(), re.S):
        rows = [[Fraction(x) for x in row.split(",")] for row in re.findall(r"\{([^{}]+)\}", body)]
        tables[name] = rows if name in ("kFirstWeights", "kSecondWeights") else rows[0]
    return (
        (tables["kFirstWeights"], tables["kFirstBiases"]),
        (tables["kSecondWeights"], tables["kSecondBiases"]),
        (tables["kOutputWeights"], None),
    )


def print_values(values):
    for start in range(0, len(values), 8):
        row = zip(IDS[start : start + 8], values[start : start + 8])
        print(" ".join(f"{control}={value:.9g}" for control, value in row))


def main():
    for parent, name in enumerate(NAMES):
        print(f"parent {name}")
        print_values([parent_value(row, parent) for row in range(len(IDS))])
    for case in CASES:
        seed, genes, info, values = breed(*case)
        print("\nseed {:x}, mix {:g}, {} parents".format(*case))
        print(f"last seed {seed:x}\ninfo {info}\ngenes {''.join(map(str, genes))}")
        print_values(values)
    print()
    layers = stored_layers()
    for k in range(4):
        inputs = [Fraction((37 * i + 11 * k) % 65, 64) for i in range(75)]
        print(f"score {k} {score(inputs, layers):.17g}")


if __name__ == "__main__":
    main()
