# SPDX-License-Identifier: GPL-3.0-or-later
"""Plays sounds with a phrase that suits them and prints what is measured, one line a sound."""

import argparse
import os
import sys
from concurrent.futures import ThreadPoolExecutor

from . import analysis, controls, page, patch, phrases, report, source, traits

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))

EPILOG = """columns: loudness of the phrase (LUFS); its peak and that of four notes at velocity 127
(dBFS); attack of a single note until 3 dB below its loudest; time from the last note-off until
60 dB below; centre of the spectrum and how far it moves; distance of a held note from the nearest
semitone (-- where nothing has a clear pitch); correlation of left and right; level of a note at
velocity 40 against one at 100."""


def line(sound, figures):
    pitch = "   --" if figures.pitch != figures.pitch else f"{figures.pitch:+5.1f}"
    end = " never" if figures.end == float("inf") else f"{figures.end:5.1f}s"
    attack = f"{figures.attack * 1000:5.0f}ms"
    return (f"{sound.name:27.27} {figures.loudness:6.1f} LUFS  peak {figures.peak:5.1f}"
            f"  four {figures.chord_peak:5.1f}  att {attack}  end {end}"
            f"  {figures.centroid:5.0f} Hz ±{figures.motion:4.2f} oct  {pitch} ct"
            f"  corr {figures.correlation:5.2f}  soft {figures.soft:5.1f} dB")


def show(sound, figures):
    print(line(sound, figures), flush=True)
    for flag in figures.flags():
        print(f"    OFF  {flag}", flush=True)
    for fault in sound.faults:
        print(f"    SOURCE  {fault}", flush=True)


def match(studio, sound, reach=0.25, attempts=6):
    """Finds the `volume` that brings the phrase to the wanted loudness and writes it to the
    source; returns the figures and what is left to say."""
    sound.patch = None
    figures = studio.measure(sound)
    for _ in range(attempts):
        lack = analysis.LOUDNESS - figures.loudness
        if abs(lack) <= reach or not figures.loudness > -60:
            break
        old = sound.settings.get("volume", 0.5)
        new = round(min(1.0, old * 10 ** (lack / 40)), 4)  # the output goes with its square
        if new == old:
            break
        sound.settings["volume"] = new
        figures = studio.measure(sound)
    with open(sound.path, encoding="utf-8") as file:
        text = file.read()
    if "volume" in sound.settings:
        changed = source.with_setting(text, "volume", sound.settings["volume"])
        if changed != text:
            with open(sound.path, "w", encoding="utf-8") as file:
                file.write(changed)
    remarks = []
    if abs(analysis.LOUDNESS - figures.loudness) > reach:
        remarks.append(f"volume alone does not reach {analysis.LOUDNESS:g} LUFS: "
                       f"{analysis.LOUDNESS - figures.loudness:+.1f} dB are left")
    if figures.chord_peak >= analysis.CHORD_PEAK:
        over = figures.chord_peak - analysis.CHORD_PEAK
        remarks.append(f"at this volume four notes are {over:.1f} dB too hot: fewer voices at "
                       "once, less velocity to level, more drive or a denser sound")
    return figures, remarks


def judge_all(pool, studio, sounds, matching):
    """The figures of all sounds, printed as they come."""

    def judge(sound):
        if matching and not patch.is_program(sound.path):
            return match(studio, sound)
        return studio.measure(sound), []

    measured = []
    for sound, (figures, remarks) in zip(sounds, pool.map(judge, sounds)):
        show(sound, figures)
        for remark in remarks:
            print(f"    MATCH  {remark}", flush=True)
        measured.append(figures)
    return measured


def whole_library(pool, studio, sounds, measured, table, options):
    """What shows only when the sounds stand side by side."""
    entries = [report.Entry(sound, figures, traits.traits(sound, table), *report.place(sound.path))
               for sound, figures in zip(sounds, measured)]
    pairs = report.compare(entries, list(pool.map(studio.portrait, sounds)))
    shares = traits.shares([entry.traits for entry in entries])
    if options.report:
        print(report.text(entries, shares, pairs))
    if options.csv:
        report.write_csv(options.csv, entries)
    if options.page:
        print(page.write(pool, options.page, entries, shares, pairs, studio.phrase_file))


def arguments():
    parser = argparse.ArgumentParser(prog="audition", description=__doc__, epilog=EPILOG)
    parser.add_argument("files", nargs="+", metavar="FILE_OR_FOLDER",
                        help="sources (.sound), patches (.fxp), or folders that hold them")
    parser.add_argument("--renderer", default=f"{ROOT}/build/release/bin/zephra-render",
                        metavar="PATH", help="the zephra-render to play with (%(default)s)")
    parser.add_argument("--match", action="store_true",
                        help=f"rewrite `volume` of the sources for {analysis.LOUDNESS:g} LUFS")
    parser.add_argument("--check", action="store_true", help="check the sources, play nothing")
    parser.add_argument("--report", action="store_true",
                        help="print the closest pairs and what the sounds are made of")
    parser.add_argument("--csv", metavar="FILE", help="write all figures as a table")
    parser.add_argument("--page", metavar="DIR", help="write a page to listen to")
    parser.add_argument("--phrase", choices=phrases.PHRASES, help="another phrase than the sound's")
    parser.add_argument("--octave", type=int, choices=range(-3, 4), help="another octave")
    parser.add_argument("--cache", default=f"{ROOT}/build/audition",
                        help="folder of renders (%(default)s)")
    parser.add_argument("--takes", type=int, choices=range(1, 10), default=1, metavar="N",
                        help="play phrase and chord N times from other phases of the oscillators")
    parser.add_argument("--jobs", type=int, default=1, help="sounds at a time (%(default)s)")
    return parser, parser.parse_args()


def main():
    parser, options = arguments()
    paths = patch.files(options.files)
    missing = [path for path in paths if not os.path.exists(path)]
    if missing or not paths:
        parser.error(f"{missing[0] if missing else options.files[0]}: no sound there")
    table = controls.read()
    sounds = patch.read(paths, table, options.phrase, options.octave)
    if options.check:
        for sound in sounds:
            for fault in sound.faults:
                print(f"{sound.path}: {fault}")
        return 1 if any(sound.faults for sound in sounds) else 0
    if not os.access(options.renderer, os.X_OK):
        parser.error(f"no renderer at {options.renderer}: build the target zephra-render first")

    studio = patch.Studio(options.renderer, options.cache, options.jobs, options.takes)
    with ThreadPoolExecutor(options.jobs) as pool:
        measured = judge_all(pool, studio, sounds, options.match)
        if options.report or options.csv or options.page:
            whole_library(pool, studio, sounds, measured, table, options)
    off = sum(bool(figures.flags() or sound.faults) for sound, figures in zip(sounds, measured))
    print(f"{len(sounds)} sounds, {off} with something off")
    return 1 if off else 0


if __name__ == "__main__":
    sys.exit(main())
