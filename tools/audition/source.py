# SPDX-License-Identifier: GPL-3.0-or-later
"""Sources of factory sounds: `key = value` lines, first about the sound, then its controls."""

import difflib
import os
import re
from dataclasses import dataclass, field

from . import phrases

KEYS = ("name", "info", "phrase", "octave")
REQUIRED = ("name", "info", "phrase")
NAME_BYTES = 27
INFO_BYTES = 400
FORBIDDEN = set('\\/:*?"<>|')


@dataclass
class Sound:
    path: str
    patch: str | None = None                      # program file to load instead of the settings
    about: dict = field(default_factory=dict)     # KEYS: text
    settings: dict = field(default_factory=dict)  # control name: control value
    needless: list = field(default_factory=list)  # controls that the text gives their default
    faults: list = field(default_factory=list)    # what is wrong with the text, in sentences

    @property
    def stem(self):
        return os.path.splitext(os.path.basename(self.path))[0]

    @property
    def name(self):
        return self.about.get("name", self.stem)

    @property
    def phrase(self):
        kind = self.about.get("phrase")
        return kind if kind in phrases.PHRASES else "keys"

    @property
    def octave(self):
        try:
            return max(-3, min(3, int(self.about.get("octave", "0"))))
        except ValueError:
            return 0


def parse(path, text, controls):
    """A Sound; what cannot be read is left out and named in its faults."""
    sound = Sound(path)
    for number, line in enumerate(text.splitlines(), 1):
        line = re.sub(r"(^|\s);.*", "", line).strip()
        if not line:
            continue
        key, equals, value = (part.strip() for part in line.partition("="))
        if not equals:
            sound.faults.append(f'line {number}: "{line}" is not of the form key = value')
        elif key in sound.about or key in sound.settings:
            sound.faults.append(f"line {number}: {key} is there twice")
        elif key in KEYS:
            sound.about[key] = value
        else:
            read_setting(sound, number, key, value, controls)
    check_about(sound)
    if sound.needless:
        sound.faults.append(f"written though the default: {', '.join(sound.needless)}")
    return sound


def read_setting(sound, number, key, value, controls):
    control = controls.get(key)
    if control is None or control.default is None:
        stored = [name for name in controls if controls[name].default is not None]
        near = difflib.get_close_matches(key, stored, 1)
        hint = f", perhaps {near[0]}" if near else ""
        sound.faults.append(f"line {number}: a patch has no control {key}{hint}")
        return
    try:
        setting = float(value)
    except ValueError:
        setting = float("nan")
    if not 0 <= setting <= control.scale:
        sound.faults.append(f"line {number}: {key} = {value} is not within 0 .. {control.scale:g}")
        return
    if not control.continuous and setting != int(setting):
        sound.faults.append(f"line {number}: {key} = {value} is not a whole number")
    if abs(setting - control.default) < 1e-6:
        sound.needless.append(key)
    sound.settings[key] = setting


def check_about(sound):
    faults = sound.faults
    faults += [f"{key} is missing" for key in REQUIRED if not sound.about.get(key)]
    kind = sound.about.get("phrase")
    if kind and kind not in phrases.PHRASES:
        faults.append(f"phrase = {kind} is none of {', '.join(phrases.PHRASES)}")
    if not re.fullmatch(r"[+-]?[0-3]", sound.about.get("octave", "0")):
        faults.append(f"octave = {sound.about['octave']} is not a whole number within -3 .. 3")
    info = sound.about.get("info", "")
    if len(info.encode()) > INFO_BYTES:
        faults.append(f"info has {len(info.encode())} bytes, {INFO_BYTES} is the most")
    name = sound.name
    if name != sound.stem:
        faults.append(f'the name "{name}" is not that of the file')
    if not name.isascii() or not name.isprintable() or FORBIDDEN & set(name):
        faults.append(f'the name "{name}" holds a character that file names do not take')
    if len(name.encode()) > NAME_BYTES:
        faults.append(f"the name has {len(name.encode())} bytes, {NAME_BYTES} is the most")


def check_library(sounds, codes):
    """Adds faults that show only among others; codes: the author code of each sound, or None."""
    seen = {}
    for sound, code in zip(sounds, codes):
        if code and not sound.name.endswith(" " + code):
            sound.faults.append(f'the name does not end in the author code "{code}"')
        first = seen.setdefault(sound.name.casefold(), sound)
        if first is not sound:
            sound.faults.append(f"{first.path} has the same name")


def has_bank_file(folder):
    return os.path.exists(os.path.join(folder, "config.ini"))


def author_code(path):
    """AuthorCode of the bank that this file lies in, None without one."""
    folder = os.path.dirname(os.path.abspath(path))
    for bank in (folder, os.path.dirname(folder)):
        if has_bank_file(bank):
            with open(os.path.join(bank, "config.ini"), encoding="utf-8") as file:
                found = re.search(r"^AuthorCode=(.*)$", file.read(), re.MULTILINE)
            return found.group(1).strip() if found else None
    return None


def with_setting(text, key, value):
    """The text with this control's line rewritten, or added at the end."""
    line = re.compile(rf"^({key}\s*=\s*)(\S+)", re.MULTILINE)
    if line.search(text):
        return line.sub(rf"\g<1>{value:.4g}", text, count=1)
    return text.rstrip("\n") + f"\n{key} = {value:.4g}\n"
