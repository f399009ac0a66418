#!/usr/bin/env python3
"""Writes the measured tables of docs/performance.md and README.md anew.

  bench/tables.py FILE [DOCUMENT...]

FILE is what scripts/bench.sh --json wrote, with or without --peers. Each table of a document stands between
lines "<!-- table NAME -->" and "<!-- end -->"; a table for which FILE has no figures stays as it is.
"""

import json
import os
import re
import sys

OPERATIONS = [
    ("read-leaf", "read one leaf, one message"),
    ("read-leaf-collected", "read one leaf, two messages"),
    ("read-list", "read the list, a leaf"),
    ("get-id", "look an id up by key, an entry"),
    ("create-entry", "create an entry"),
    ("merge-entry", "merge an entry"),
    ("delete-entry", "delete an entry"),
    ("create-entry-command", "create an entry through `exe_cmd`"),
    ("merge-entry-command", "merge an entry through `exe_cmd`"),
    ("delete-entry-command", "delete an entry through `exe_cmd`"),
]
SIZES = [10, 100, 1000, 10_000, 100_000, 1_000_000]
ORDERS = ["rising", "falling", "random"]


def table(heads, rows):
    aligns = ["---"] + ["---:"] * (len(heads) - 1)
    return "".join("| " + " | ".join(row) + " |\n" for row in [heads, aligns] + rows)


def size_name(n):
    return f"{n:,}"


class Figures:
    def __init__(self, figures):
        self.by_key = {
            (f["name"], f["index"], f["depth"], f["n"], f["leaves"], f["variant"], f["placement"]): f
            for f in figures
            if not f["error"]
        }

    def of_list(self, name, index, n, leaves=4):
        return self.by_key.get((name, index, 2, n, leaves, "", "one-core"))

    def of_instances(self, index, order, n):
        return self.by_key.get(("create-remove-instance", index, 0, n, 8, order, "in-process"))


def number(value):
    return f"{value:.0f}" if value >= 100 else f"{value:.3g}"


def duration(nanoseconds):
    return f"{number(nanoseconds)} ns" if nanoseconds < 1000 else f"{number(nanoseconds / 1000)} us"


def costs(figures):
    rows = []
    for name, title in OPERATIONS:
        for index in ("tree", "hash"):
            cells = []
            for n in (100, 10_000, 1_000_000):
                figure = figures.of_list(name, index, n)
                if figure is None:
                    cells.append("")
                    continue
                unit = figure["unit"].split("/")[0]
                cell = f"{number(figure['median'])} {unit}"
                # The answer of a lookup is small whatever the list: its floor is no entry's.
                if name != "get-id":
                    cell += f" ({figure['ratio']:.2f})"
                cells.append(cell)
            if any(cells):
                rows.append([title, index] + cells)
    heads = ["request", "index", "N = 100", "N = 10,000", "N = 1,000,000"]
    return table(heads, rows) if rows else None


def growth(figures):
    def row(title, index, figure_at, base):
        of = {n: figure_at(n) for n in SIZES}
        if of[base] is None or sum(f is not None for f in of.values()) < 2:
            return None
        cells = [f"{of[n]['median'] / of[base]['median']:.2f}" if of[n] else "" for n in SIZES]
        return [title, index] + cells

    rows = []
    for name, title in OPERATIONS:
        for index in ("tree", "hash"):
            # The fixed cost of a request is no entry's, so that lists are compared from 10,000 on.
            base = 10_000 if name in ("read-list", "get-id") else 100
            rows.append(row(title, index, lambda n: figures.of_list(name, index, n), base))
    for order in ORDERS:
        for index in ("tree", "hash"):
            rows.append(
                row(
                    f"create and remove an instance in process, {order} ids",
                    index,
                    lambda n: figures.of_instances(index, order, n),
                    1000,
                )
            )
    rows = [r for r in rows if r is not None]
    heads = ["operation", "index"] + [size_name(n) for n in SIZES]
    return table(heads, rows) if rows else None


PEER_REQUESTS = [
    ("read-leaf", "read one leaf"),
    ("write-leaf", "write one leaf"),
    ("read-list", "read the list, a leaf"),
]


def peers(measured):
    if measured is None:
        return None
    by_key = {(f["request"], f["peer"]): f for f in measured["figures"]}
    others = [name for name in ("table_tdata", "table_data") if ("read-leaf", name) in by_key]
    rows = []
    for request, title in PEER_REQUESTS:
        library = by_key[request, "library"]
        cells = [duration(library["ns"]), duration(library["application_ns"])]
        for name in others:
            other = by_key[request, name]
            cells += [f"{number(other[key] / library[key])} times" for key in ("ns", "application_ns")]
        rows.append([title] + cells)
    heads = ["request", "this library", "application alone"]
    for name in others:
        heads += [f"subagent, `{name}`", "application alone"]
    return table(heads, rows)


def goals(verdicts):
    rows = []
    for v in verdicts:
        floor = number(v["floor"]) if v["floor"] > 0 else ""
        ratio = f"{v['value']:.2f}" if v["floor"] > 0 else ""
        limit = f"{'at least' if v['at_least'] else 'at most'} {number(v['limit'])}"
        met = "met" if v["met"] else "**not met**"
        rows.append([v["goal"], number(v["figure"]), v["unit"], floor, ratio, limit, met])
    heads = ["goal", "figure", "unit", "floor or base", "ratio", "limit", ""]
    return table(heads, rows) if rows else None


def write_tables(path, tables):
    """The names of the tables that the document has and that were written."""
    with open(path) as file:
        text = file.read()
    written = set()
    for name, content in tables.items():
        pattern = rf"(<!-- table {name} -->\n).*?(<!-- end -->)"
        text, count = re.subn(pattern, lambda m: m[1] + content + m[2], text, flags=re.DOTALL)
        if count:
            written.add(name)
    with open(path, "w") as file:
        file.write(text)
    return written


def main():
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    root = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..")
    paths = sys.argv[2:] or [os.path.join(root, name) for name in ("docs/performance.md", "README.md")]
    with open(sys.argv[1]) as file:
        measured = json.load(file)
    figures = Figures(measured.get("figures", []))
    tables = {
        "costs": costs(figures),
        "growth": growth(figures),
        "goals": goals(measured.get("goals", [])),
        "peers": peers(measured.get("peers")),
    }
    tables = {name: content for name, content in tables.items() if content is not None}
    written = set().union(*(write_tables(path, tables) for path in paths))
    if written != tables.keys():
        sys.exit(f"no document has a table {', '.join(tables.keys() - written)}")


main()
