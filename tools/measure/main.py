# SPDX-License-Identifier: GPL-3.0-or-later
"""Measures the instrument through zephra-render and writes a page of what it found."""

import argparse
import importlib
import os
import sys
import time

from . import report
from .render import Renderer

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
PAGES = ["pitch", "waves", "alias", "envelopes", "filter", "resonance", "drive", "noise",
         "decimator", "output", "delay", "reverb", "songs"]


def main():
    parser = argparse.ArgumentParser(prog="measure", description=__doc__)
    parser.add_argument("--render", default=f"{ROOT}/build/release/bin/zephra-render",
                        help="the renderer to measure (%(default)s)")
    parser.add_argument("--out", default=f"{ROOT}/build/measure",
                        help="folder for the page and the cache of renders (%(default)s)")
    parser.add_argument("--page", action="append", choices=PAGES, help="only this page; repeatable")
    parser.add_argument("--song", action="append", default=[], metavar="FILE.mid",
                        help="a further song to measure; repeatable")
    parser.add_argument("--jobs", type=int, default=2, help="renders at a time (%(default)s)")
    options = parser.parse_args()
    if not os.access(options.render, os.X_OK):
        parser.error(f"no renderer at {options.render}: build the target zephra-render first")

    os.makedirs(options.out, exist_ok=True)
    render = Renderer(options.render, os.path.join(options.out, "cache"), options.jobs)
    render.songs = options.song
    render.root = ROOT
    started = time.time()
    pages = []
    for name in options.page or PAGES:
        module = importlib.import_module(f".pages.{name}", __package__)
        page = report.Page(options.out, name, module.TITLE)
        before = time.time()
        module.measure(page, render)
        pages.append(page)
        off = [row for row in page.rows if not row.good]
        print(f"{name}: {len(page.rows)} rows, {len(off)} off, {time.time() - before:.1f} s")
        for row in off:
            print("   OFF " + " | ".join(row.cells()[:-1]))
    rows = [row for page in pages for row in page.rows]
    off = sum(not row.good for row in rows)
    head = (f"{len(rows)} rows, {off} off; {render.calls} renders, {render.hits} from the cache, "
            f"{time.time() - started:.0f} s")
    report.write(options.out, pages, head)
    print(f"{head}\n{os.path.join(options.out, 'index.html')}")
    return 1 if off else 0


if __name__ == "__main__":
    sys.exit(main())
