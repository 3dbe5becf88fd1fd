# SPDX-License-Identifier: GPL-3.0-or-later
"""Runs zephra-render and keeps what it wrote, one file per set of arguments."""

import hashlib
import os
import shutil
import subprocess
from concurrent.futures import ThreadPoolExecutor
from dataclasses import dataclass, field

import numpy as np
import soundfile


@dataclass
class Job:
    """One render: control values by name, notes (key, velocity, on, off), length in seconds."""

    settings: dict = field(default_factory=dict)
    notes: list = field(default_factory=list)
    seconds: float = 1.0
    rate: int = 48000
    options: list = field(default_factory=list)  # further words of the command line
    files: list = field(default_factory=list)  # named by these words, known by their bytes

    def arguments(self):
        words = list(self.options)
        for name, value in self.settings.items():
            words += ["--set", f"{name}={value:.9g}"]
        for note in self.notes:
            words += ["--note", ",".join(f"{v:.9g}" for v in note)]
        if self.seconds is not None:
            words += ["--seconds", f"{self.seconds:.9g}"]
        return words + ["--rate", str(self.rate)]


class Renderer:
    """Calls the binary, at most `jobs` at a time. The cache holds the renders of one build, known
    by the bytes of its binary: a new build is measured anew and takes the old one's place, unless
    that is to be kept."""

    def __init__(self, binary, cache, jobs=2, keep_others=False):
        self.jobs = jobs
        self.calls = self.hits = 0
        with open(binary, "rb") as file:
            program = file.read()
        build = hashlib.sha1(program).hexdigest()
        if os.path.isdir(cache) and not keep_others:
            for other in set(os.listdir(cache)) - {build}:
                shutil.rmtree(os.path.join(cache, other))
        self.cache = os.path.join(os.path.abspath(cache), build)
        os.makedirs(self.cache, exist_ok=True)
        # A copy runs, so that a build that goes on meanwhile changes nothing.
        self.binary = os.path.join(self.cache, "zephra-render")
        if not os.path.exists(self.binary):
            aside = f"{self.binary}.{os.getpid()}"
            with open(aside, "wb") as file:
                file.write(program)
            os.chmod(aside, 0o755)
            os.replace(aside, self.binary)

    def path(self, job):
        """The WAV file of a job, rendered if it is not there yet."""
        words = job.arguments()
        digest = hashlib.sha1("\0".join(words).encode())
        for file in job.files:
            with open(file, "rb") as opened:
                digest.update(opened.read())
        key = digest.hexdigest()
        target = os.path.join(self.cache, key + ".wav")
        if os.path.exists(target):
            self.hits += 1
            return target
        self.calls += 1
        aside = f"{target}.{os.getpid()}.wav"
        run = subprocess.run(
            [self.binary, "--quiet", *words, "--out", aside], capture_output=True, text=True
        )
        if run.returncode != 0:
            raise RuntimeError(f"{' '.join(run.args)}: {run.stderr.strip()}")
        os.replace(aside, target)
        return target

    def __call__(self, job):
        """Samples as float64, shape (frames, 2)."""
        return soundfile.read(self.path(job), dtype="float64", always_2d=True)[0]

    def batch(self, jobs):
        """All jobs, side by side, in their order."""
        with ThreadPoolExecutor(self.jobs) as pool:
            return list(pool.map(self, jobs))
