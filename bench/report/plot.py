#!/usr/bin/env python3
# SPDX-License-Identifier: GPL-3.0-or-later
"""Draws what `vocalink_load --plot` has measured, and prints what docs/performance.md shows of it: the
pictures, and the load at which each server gives way.

usage: plot.py RESULTS.json DIRECTORY
"""

import json
import pathlib
import statistics
import subprocess
import sys
import tempfile

SERVERS = ("bare", "daemon")


def rounds_by_size(results, name):
    """The rounds of one benchmark as {size: [counters]}, ascending by size."""
    found = {}
    for run in results["benchmarks"]:
        words = run["run_name"].split("/")
        if words[0] == name and run["run_type"] == "iteration":
            found.setdefault(int(words[1].split(":")[1]), []).append(run)
    return dict(sorted(found.items()))


def median(rounds, row, server):
    return statistics.median(each[f"{row}: {server}"] for each in rounds)


def write_columns(path, sizes, rows, scale=1):
    """One line a size: the size, then each row of the bare loop and of the daemon."""
    with open(path, "w", encoding="ascii") as out:
        for size, rounds in sizes.items():
            figures = [median(rounds, row, server) for row in rows for server in SERVERS]
            print(size * scale, *figures, file=out)


def limit(rounds, server):
    """What gives way in these rounds. None when nothing was lost and nearly every packet came before
    the next of its leg: more would be lost once the sockets' buffers, of seconds, are full."""
    if median(rounds, "held on one core", server) == 1:
        return None
    if median(rounds, "packets that the generator sent late, %", server) > 1:
        return "generator"
    if median(rounds, "share of one core, %", server) > 95:
        return "CPU"
    return "socket buffer" if median(rounds, "packets lost", server) > 0 else "latency"


def print_saturation(sizes):
    print("| relay | highest load carried | share of one core | then gives way |")
    print("|---|---|---|---|")
    for server in SERVERS:
        held = max((size for size in sizes if not limit(sizes[size], server)), default=0)
        beyond = min((size for size in sizes if size > held), default=None)
        reason = f"{limit(sizes[beyond], server)}, at {beyond:,} pairs" if beyond else "nothing yet"
        share = median(sizes[held], "share of one core, %", server) if held else 0
        print(f"| {server} | {held:,} pairs, {100 * held:,} packets/s | {share:.0f} % | {reason} |")


def main():
    results = json.loads(pathlib.Path(sys.argv[1]).read_text(encoding="utf-8"))
    plots = pathlib.Path(sys.argv[2]).resolve()
    plots.mkdir(parents=True, exist_ok=True)
    relay = rounds_by_size(results, "relay")
    packets_a_second = 100 / 1000  # of a pair, in thousands
    latencies = ["one-way latency, median, us", "one-way latency, 99th percentile, us"]
    with tempfile.TemporaryDirectory() as work:
        data = pathlib.Path(work)
        write_columns(data / "relay", relay, ["CPU us per packet"], 2)
        write_columns(data / "latency", relay, latencies, packets_a_second)
        write_columns(
            data / "conference", rounds_by_size(results, "conference"), ["CPU us per member and tick"]
        )
        script = pathlib.Path(__file__).with_name("plots.gp")
        subprocess.run(["gnuplot", "-c", script, data, plots], check=True)
    for picture in ("relay", "latency", "conference"):
        print(f"![{picture}](plots/{picture}.svg)\n")
    print_saturation(relay)


main()
