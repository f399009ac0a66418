#!/usr/bin/env python3
"""Draws cost against the number of entries, one SVG for each kind of figure.

    plots.py FIGURES.json DIRECTORY

Needs gnuplot.
"""

import json
import os
import subprocess
import sys

# File, title, names of figures. A line for each name, index, depth and variant.
PLOTS = [
    ("read-leaf", "One leaf by its ids", ["read-leaf"]),
    ("read-list", "A whole list", ["read-list"]),
    ("get-id", "Ids by key", ["get-id"]),
    ("create-entry", "One entry created", ["create-entry", "create-entry-command"]),
    ("delete-entry", "One entry deleted", ["delete-entry", "delete-entry-command"]),
    ("instance", "One instance created and removed, in process", ["create-remove-instance"]),
]


def lines_of(figures, names):
    """Points by title of the line, and the unit."""
    lines, unit = {}, ""
    for figure in figures:
        if figure["name"] not in names or figure["placement"] == "unpinned" or figure["error"]:
            continue
        unit = figure["unit"]
        parts = [figure["index"], figure["variant"]]
        if figure["depth"]:
            parts.append(f"{figure['depth']} deep")
        if figure["leaves"] != 4 and figure["depth"]:
            parts.append(f"{figure['leaves']} leaves")
        if len(names) > 1:
            parts.insert(0, figure["name"])
        title = " ".join(part for part in parts if part)
        lines.setdefault(title, []).append((figure["n"], figure["median"], figure["floor"]))
    # A single size is no line.
    return {title: sorted(points) for title, points in lines.items() if len(points) > 1}, unit


def script_of(path, title, unit, lines):
    commands = [
        "set terminal svg size 900,640 font 'sans,12' background 'white'",
        f"set output '{path}'",
        f"set title '{title}'",
        "set logscale xy",
        "set xlabel 'entries'",
        f"set ylabel '{unit}'",
        "set grid",
        "set key below maxcols 3",
    ]
    blocks, curves = [], []
    for number, (name, points) in enumerate(sorted(lines.items()), 1):
        rows = "\n".join(f"{n} {median} {floor or 'NaN'}" for n, median, floor in points)
        blocks.append(f"$line{number} << END\n{rows}\nEND")
        curves.append(f"$line{number} using 1:2 with linespoints lc {number} title '{name}'")
    floors = max(lines.items(), key=lambda line: len(line[1]))[0]
    number = sorted(lines).index(floors) + 1
    if any(floor for _, _, floor in lines[floors]) and "get-id" not in path:
        curves.append(f"$line{number} using 1:3 with lines dt 2 lc 'black' title 'floor'")
    return "\n".join(commands + blocks + ["plot " + ", \\\n  ".join(curves)]) + "\n"


def main():
    figures_path, directory = sys.argv[1:]
    with open(figures_path, encoding="utf-8") as file:
        figures = json.load(file)["figures"]
    os.makedirs(directory, exist_ok=True)
    for name, title, names in PLOTS:
        lines, unit = lines_of(figures, names)
        if not lines:
            continue
        path = os.path.join(directory, name + ".svg")
        subprocess.run(["gnuplot"], input=script_of(path, title, unit, lines), text=True,
                       check=True)


if __name__ == "__main__":
    main()
