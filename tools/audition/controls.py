# SPDX-License-Identifier: GPL-3.0-or-later
"""The controls of the instrument, read from the table in its source."""

import re
from dataclasses import dataclass
from pathlib import Path

FOLDER = Path(__file__).resolve().parents[2] / "synth" / "controls"


@dataclass(frozen=True)
class Control:
    name: str
    default: float | None  # control value; None: no patch stores it
    scale: float           # control values go from 0 to this
    continuous: bool       # else whole numbers only
    texts: tuple = ()      # the choices, row by row

    def text(self, value):
        row = int(value)
        return self.texts[row] if 0 <= row < len(self.texts) else f"{value:g}"


ROW = re.compile(r'\{ *\w+, *"(\w+)", *\w+, *(?:"[^"]*"|nullptr), *([\w.]+), *(\d+), *(\w+), '
                 r'*\w+, *(\w+|\{\}) *\}')
LIST = re.compile(r"std::array (k\w+)\{([^}]*)\};")


def read(folder=FOLDER):
    """All controls by name."""
    lists = {name: tuple(re.findall(r'"([^"]*)"', body))
             for name, body in LIST.findall((folder / "ControlLists.h").read_text())}
    lists["kShortSync"] = lists["kLongSync"][-15:]
    table = {}
    rows = ROW.findall((folder / "ControlTable.h").read_text())
    for name, default, scale, kind, texts in rows:
        value = None if default == "unset" else float(default.rstrip("f"))
        table[name] = Control(name, value, float(scale), kind == "Continuous", lists.get(texts, ()))
    return table
