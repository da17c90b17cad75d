#!/usr/bin/env python3
# SPDX-License-Identifier: GPL-3.0-or-later
"""Prints what `vocalink_load` has measured: medians over the rounds, of ratios the extremes too.

usage: table.py RESULTS.json
"""

import json
import pathlib
import statistics
import sys

PARTS = ("bare", "daemon", "ratio", "wanted")


def text(values, pick=statistics.median):
    """One figure of the rounds; empty when none has it."""
    if not values:
        return ""
    value = pick(values)
    if value == int(value):
        return f"{value:.0f}"
    return f"{value:.4f}" if value < 0.1 else f"{value:.2f}"


def print_cells(what, bare, daemon, ratio, wanted):
    print(f"{what:<50}{bare:>10}{daemon:>12}{ratio:>24}  {wanted}")


def print_row(what, rounds):
    values = {part: [each[f"{what}: {part}"] for each in rounds if f"{what}: {part}" in each]
              for part in PARTS}
    ratio = text(values["ratio"])
    if len(values["ratio"]) > 1:
        ratio += f" ({text(values['ratio'], min)} to {text(values['ratio'], max)})"
    wanted = ""
    if values["wanted"]:
        measured = statistics.median(values["ratio"] or values["daemon"])
        missed = "  MISSED" if measured > values["wanted"][0] else ""
        wanted = f"<= {text(values['wanted'])}{missed}"
    print_cells("  " + what, text(values["bare"]), text(values["daemon"]), ratio, wanted)


def main():
    results = json.loads(pathlib.Path(sys.argv[1]).read_text(encoding="utf-8"))
    benchmarks = {}
    for run in results["benchmarks"]:
        if run["run_type"] == "iteration":
            benchmarks.setdefault(run["run_name"].split("/iterations")[0], []).append(run)
    for name, rounds in benchmarks.items():
        print_cells(name, "bare", "daemon", "ratio (min to max)", "wanted")
        counters = (counter.rpartition(": ") for counter in rounds[0])
        for what in sorted({what for what, _, part in counters if what and part in PARTS}):
            print_row(what, rounds)


main()
