#!/usr/bin/env python3
# Copyright 2026 The libkelp authors
# SPDX-License-Identifier: Apache-2.0
"""Draws docs/performance.svg from the tables of docs/PERFORMANCE.md:  bench/picture.py [--check]

--check only tells whether the picture is that of the tables.
"""
import pathlib
import re
import sys

DOCS = pathlib.Path(__file__).resolve().parent.parent / "docs"
WIDTH, LEFT, BAR, GAP = 760, 250, 13, 4
STYLE = """<style>
  svg { font: 13px system-ui, sans-serif; } .page { fill: #fff; }
  text { fill: #222; } .quiet { fill: #666; font-size: 12px; } .title { font-weight: 600; }
  .a { fill: #2a6fbb; } .b { fill: #7fb2e5; } .c { fill: #d98a2b; } .line { stroke: #999; }
  @media (prefers-color-scheme: dark) {
    .page { fill: #16191d; } text { fill: #e6e6e6; } .quiet { fill: #9aa0a6; }
    .a { fill: #5b9bd5; } .b { fill: #2f5f8f; } .c { fill: #e0a458; } .line { stroke: #777; }
  }
</style>"""


def table(page, heading):
    """Rows of the first table below a heading, without its head."""
    section = page.split("\n## " + heading + "\n", 1)[1]
    first = re.search(r"(?:^\|.*\n)+", section, re.MULTILINE).group()
    rows = [[cell.strip() for cell in line.strip("| ").split("|")] for line in first.splitlines()]
    return rows[2:]


def number(cell):
    found = re.search(r"\d+(\.\d+)?", cell)
    return float(found.group()) if found else None


def bars(out, y, rows, colours, scale, unit):
    for name, values in rows:
        middle = y + len(values) * (BAR + 1) / 2 + 4
        out.append(f'<text x="{LEFT - 10}" y="{middle:.1f}" text-anchor="end">{name}</text>')
        for value, colour in zip(values, colours):
            if value is not None:
                out.append(f'<rect class="{colour}" x="{LEFT}" y="{y}" height="{BAR}" '
                           f'width="{value * scale:.1f}" rx="2"/>')
                out.append(f'<text class="quiet" x="{LEFT + value * scale + 6:.1f}" '
                           f'y="{y + BAR - 2}">{value:g}{unit}</text>')
            y += BAR + 1
        y += GAP
    return y


def legend(out, y, entries):
    x = LEFT
    for colour, text in entries:
        out.append(f'<rect class="{colour}" x="{x}" y="{y - 10}" width="12" height="12" rx="2"/>')
        out.append(f'<text class="quiet" x="{x + 17}" y="{y}">{text}</text>')
        x += 30 + 7 * len(text)


def draw(page):
    out = []
    peers = table(page, "Among other codecs")
    rows = [(row[0], [number(cell) for cell in row[1:4]]) for row in peers[1:]]
    most = max(value for _, values in rows for value in values)
    out.append('<text class="title" x="20" y="28">Time of other codecs over libkelp\'s, for the '
               'same speech</text>')
    legend(out, 50, [("a", "encode active speech"), ("b", "encode conversation"), ("c", "decode")])
    y = bars(out, 64, rows, "abc", (WIDTH - LEFT - 60) / most, "")
    one = LEFT + (WIDTH - LEFT - 60) / most
    out.append(f'<line class="line" stroke-dasharray="3 3" x1="{one:.1f}" y1="60" x2="{one:.1f}" '
               f'y2="{y}"/>')

    stages = [row for row in table(page, "What a full-rate frame needs, and takes")
              if not row[0].startswith("all of")]
    rows = [(row[0], [number(row[3]), number(row[2])]) for row in stages]
    most = max(value for _, values in rows for value in values if value)
    y += 34
    out.append(f'<text class="title" x="20" y="{y}">Where a full-rate frame\'s time goes, in '
               'microseconds</text>')
    legend(out, y + 22, [("a", "taken"), ("b", "the least its arithmetic could take")])
    y = bars(out, y + 36, rows, "ab", (WIDTH - LEFT - 60) / most, "")
    return (f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {y + 10}" '
            f'width="{WIDTH}">\n{STYLE}\n<rect class="page" width="100%" height="100%"/>\n' +
            "\n".join(out) + "\n</svg>\n")


def main():
    picture = DOCS / "performance.svg"
    drawn = draw((DOCS / "PERFORMANCE.md").read_text())
    if "--check" not in sys.argv:
        picture.write_text(drawn)
    elif picture.read_text() != drawn:
        sys.exit("docs/performance.svg is not that of docs/PERFORMANCE.md: run bench/picture.py")


main()
