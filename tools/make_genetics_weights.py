#!/usr/bin/env python3
# SPDX-License-Identifier: GPL-3.0-or-later
"""Writes the weights of GeneticsScoreNet: make_genetics_weights.py > library/GeneticsWeights.h

Random sixteenths between -1/2 and 1/2: exact in binary, short in decimal. The tests hold the file
against a new run.
"""


def weights(state=1):
    while True:
        state = (state * 214013 + 2531011) & 0xFFFFFFFF
        yield ((state >> 16) % 17 - 8) / 16


def braced(values):
    return "{" + ", ".join(f"{value:g}" for value in values) + "}"


def table(name, rows, columns, source):
    lines = [f"inline constexpr double {name}[{rows}][{columns}] = {{"]
    lines += [f"    {braced(next(source) for _ in range(columns))}," for _ in range(rows)]
    return "\n".join(lines + ["};"])


def row(name, columns, source):
    values = braced(next(source) for _ in range(columns))
    return f"inline constexpr double {name}[{columns}] =\n    {values};"


def main():
    source = weights()
    print("// SPDX-License-Identifier: GPL-3.0-or-later")
    print("// Written by tools/make_genetics_weights.py.")
    print("#pragma once\n\nnamespace zephra {\n")
    print("// clang-format off")
    print("/// [input][unit]")
    print(table("kFirstWeights", 75, 10, source))
    print(row("kFirstBiases", 10, source))
    print("/// [unit of the first layer][unit]")
    print(table("kSecondWeights", 10, 10, source))
    print(row("kSecondBiases", 10, source))
    print(row("kOutputWeights", 10, source))
    print("// clang-format on")
    print("\n} // namespace zephra")


if __name__ == "__main__":
    main()
