# SPDX-License-Identifier: GPL-3.0-or-later
"""Rows of measured against intended values, and the page they are printed on."""

import csv
import html
import math
import os
from dataclasses import dataclass

import matplotlib

matplotlib.use("Agg")
import matplotlib.pyplot as plt  # noqa: E402


@dataclass
class Row:
    page: str
    what: str
    measured: float
    intended: float
    tolerance: float  # allowed distance, in the unit, or in percent of `intended` if relative
    unit: str
    kind: str  # "near": within tolerance, "most": at most intended, "least": at least intended
    relative: bool = False

    @property
    def good(self):
        if not math.isfinite(self.measured):
            return False
        slack = abs(self.intended) * self.tolerance / 100 if self.relative else self.tolerance
        if self.kind == "most":
            return self.measured <= self.intended + slack
        if self.kind == "least":
            return self.measured >= self.intended - slack
        return abs(self.measured - self.intended) <= slack

    def cells(self):
        limit = {"near": "±", "most": "at most, +", "least": "at least, −"}[self.kind]
        unit = "%" if self.relative else self.unit
        return [
            self.what,
            f"{self.measured:.6g} {self.unit}".strip(),
            f"{self.intended:.6g} {self.unit}".strip(),
            f"{limit}{self.tolerance:g} {unit}".strip(),
            "good" if self.good else "OFF",
        ]


class Page:
    """One topic: a title, words, rows and plots in the order in which they were added."""

    def __init__(self, folder, name, title):
        self.folder, self.name, self.title = folder, name, title
        self.parts = []  # ("text", str), ("rows", [Row]), ("plot", file, caption)
        self.plots = 0

    def text(self, words):
        self.parts.append(("text", " ".join(words.split())))

    def row(self, what, measured, intended, tolerance, unit="", kind="near", relative=False):
        row = Row(self.name, what, float(measured), float(intended), tolerance, unit, kind, relative)
        if not self.parts or self.parts[-1][0] != "rows":
            self.parts.append(("rows", []))
        self.parts[-1][1].append(row)
        return row

    def percent(self, what, measured, intended, tolerance, unit=""):
        return self.row(what, measured, intended, tolerance, unit, relative=True)

    def plot(self, figure, caption):
        self.plots += 1
        file = f"{self.name}-{self.plots}.png"
        figure.tight_layout()
        figure.savefig(os.path.join(self.folder, file), dpi=90)
        plt.close(figure)
        self.parts.append(("plot", file, " ".join(caption.split())))

    def data(self, file, header, rows):
        """A table too long for the page, as a CSV file beside it."""
        with open(os.path.join(self.folder, file), "w", newline="") as out:
            writer = csv.writer(out, lineterminator="\n")
            writer.writerow(header)
            writer.writerows(rows)
        self.parts.append(("data", file))

    @property
    def rows(self):
        return [row for part in self.parts if part[0] == "rows" for row in part[1]]


HEAD = ["what", "measured", "intended", "tolerance", "verdict"]

STYLE = """body{font:15px/1.45 sans-serif;max-width:1100px;margin:2em auto;padding:0 1em;color:#222}
table{border-collapse:collapse;margin:1em 0}td,th{padding:.15em .7em;border-bottom:1px solid #ddd;
text-align:left}td:nth-child(n+2){white-space:nowrap;font-variant-numeric:tabular-nums}
.OFF{color:#b00;font-weight:bold}.good{color:#070}img{max-width:100%}figure{margin:1.2em 0}
figcaption{color:#555}"""


def html_page(pages, head):
    out = ["<!doctype html><meta charset=utf-8><title>Measuring the instrument</title>"]
    out += [f"<style>{STYLE}</style><h1>Measuring the instrument</h1><p>{html.escape(head)}</p><ul>"]
    for page in pages:
        bad = sum(not row.good for row in page.rows)
        note = f"{len(page.rows)} rows" + (f", <b class=OFF>{bad} off</b>" if bad else "")
        out.append(f'<li><a href="#{page.name}">{html.escape(page.title)}</a> ({note})')
    out.append("</ul>")
    for page in pages:
        out.append(f"<h2 id={page.name}>{html.escape(page.title)}</h2>")
        for part in page.parts:
            if part[0] == "text":
                out.append(f"<p>{html.escape(part[1])}</p>")
            elif part[0] == "plot":
                caption = html.escape(part[2])
                out.append(f"<figure><img src={part[1]} alt=''><figcaption>{caption}</figcaption></figure>")
            elif part[0] == "data":
                out.append(f"<p>All values: <a href={part[1]}>{part[1]}</a></p>")
            else:
                out.append("<table><tr>" + "".join(f"<th>{h}</th>" for h in HEAD) + "</tr>")
                for row in part[1]:
                    cells = "".join(f"<td>{html.escape(c)}</td>" for c in row.cells()[:-1])
                    verdict = row.cells()[-1]
                    out.append(f"<tr>{cells}<td class={verdict}>{verdict}</td></tr>")
                out.append("</table>")
    return "\n".join(out) + "\n"


def markdown_table(pages):
    out = ["# Measuring the instrument", ""]
    for page in pages:
        out += [f"## {page.title}", "", "| " + " | ".join(HEAD) + " |", "|---|---|---|---|---|"]
        out += ["| " + " | ".join(c.replace("|", "/") for c in row.cells()) + " |" for row in page.rows]
        out.append("")
    return "\n".join(out)


def write(folder, pages, head):
    with open(os.path.join(folder, "index.html"), "w") as out:
        out.write(html_page(pages, head))
    with open(os.path.join(folder, "table.md"), "w") as out:
        out.write(markdown_table(pages))
    with open(os.path.join(folder, "table.csv"), "w", newline="") as out:
        writer = csv.writer(out, lineterminator="\n")
        writer.writerow(["page", "what", "measured", "intended", "tolerance", "unit", "kind", "verdict"])
        for page in pages:
            for row in page.rows:
                tolerance = f"{row.tolerance:g}%" if row.relative else f"{row.tolerance:g}"
                verdict = "good" if row.good else "OFF"
                writer.writerow([row.page, row.what, f"{row.measured:.8g}", f"{row.intended:.8g}",
                                 tolerance, row.unit, row.kind, verdict])
