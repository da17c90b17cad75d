# SPDX-License-Identifier: GPL-3.0-or-later
"""Scenes of a disk that is full or slow."""

from __future__ import annotations

import glob
import pathlib
import re
import subprocess
import tempfile
import time
from typing import Iterator

from calls import last_record_s
from daemon import Daemon, Peers
from scene import Finding, Growth, Run, Skipped, at_most, exactly, none_lost, scene


@scene
def full_disk(run: Run) -> Iterator[Finding]:
    """Recordings on a disk that fills up, and has room again."""
    legs = 40
    with Daemon() as daemon, Peers() as peers:
        mounted = subprocess.run(["mount", "-t", "tmpfs", "-o", "size=2m", "tmpfs", daemon.work],
                                 capture_output=True)
        if mounted.returncode != 0:
            raise Skipped("no mount namespace here: run it as root")
        control = daemon.controller()
        peers.calls(control, legs // 2)
        names = [f"call{side}{i}" for i in range(legs // 2) for side in "ab"]
        control.wanted([f"recording start {name} r pcap" for name in names])
        control.count_notices("REC_STARTED", legs)
        lines = daemon.log_lines()
        time.sleep(run.size(8, 60))
        yield at_most("log lines while it is full", 1, daemon.log_lines() - lines)
        growth = Growth(daemon)
        control.wanted([f"recording stop {name} r" for name in names])
        yield exactly("recordings told to be finished", legs,
                      control.count_notices("REC_FINISHED", legs))
        files = glob.glob(daemon.store + "/*.pcap") + glob.glob(daemon.work + "/*.pcap")
        yield exactly("files that can be read", legs,
                      sum(last_record_s(path) is not None for path in files))
        yield exactly("files that were moved", legs, len(glob.glob(daemon.store + "/*.pcap")))
        control.wanted([f"recording start {name} again pcap" for name in names])
        time.sleep(1)
        control.wanted([f"recording stop {name} again" for name in names])
        control.count_notices("REC_FINISHED", 2 * legs)
        yield exactly("files of the time after", legs,
                      sum(last_record_s(path) is not None
                          for path in glob.glob(daemon.store + "/again*.pcap")))
        yield none_lost(peers.settle())
        yield at_most("memory grown", 1024, daemon.memory_kib() - growth.memory, " KiB")
        subprocess.run(["umount", daemon.work], check=True)


@scene
def slow_disk(run: Run) -> Iterator[Finding]:
    """Recordings and sound files on a disk that takes its time for everything."""
    legs = 20
    with Daemon(slow_ms=100) as daemon, Peers() as peers:
        control, other = daemon.controller(), daemon.controller()
        peers.calls(control, legs // 2)
        sound = daemon.directory + "/sound"
        with open(sound, "wb") as file:
            file.write(b"x" * 16_000)
        waiting = [f"recording start call{side}{i} r pcap"
                   for i in range(legs // 2) for side in "ab"]
        waiting += [f"new sound_stream s{i} {sound} loop PCMU" for i in range(5)]
        begin = time.monotonic()
        control.socket.sendall("".join(line + "\n" for line in waiting).encode())
        slowest = 0.0
        for _ in range(20):
            asked = time.monotonic()
            other.command("recover")
            slowest = max(slowest, time.monotonic() - asked)
            time.sleep(0.05)
        replies = [control.reply() for _ in waiting]
        took = time.monotonic() - begin
        yield exactly("commands that waited for the disk and succeeded", len(waiting),
                      sum(reply.startswith("SUCCESS") for reply in replies))
        yield Finding("s that they took together", "over 2", f"{took:.1f}", took > 2)
        yield at_most("ms that another controller waited", 200, round(slowest * 1000))
        time.sleep(run.size(5, 60))
        control.wanted([line.replace("start", "stop").removesuffix(" pcap")
                        for line in waiting if line.startswith("recording")])
        yield exactly("recordings told to be finished", legs,
                      control.count_notices("REC_FINISHED", legs))
        yield none_lost(peers.settle())


def longest_turn_ms(metrics: str) -> float:
    """The longest time without looking for packets, in the last seconds before the file."""
    found = re.search(r"^vocalink_loop_longest_turn_seconds\S* (\S+)$",
                      pathlib.Path(metrics).read_text(), re.MULTILINE)
    return float(found[1]) * 1000 if found else 9999


@scene
def wav_files(run: Run) -> Iterator[Finding]:
    """Two hundred listeners of a conference that write what they hear."""
    count, seconds = 200, run.size(20, 3_600)
    with tempfile.TemporaryDirectory() as directory, \
            Daemon("-m", metrics := directory + "/vocalink.prom") as daemon, Peers() as peers:
        control = daemon.controller()
        peers.calls(control, 20)
        sound = pathlib.Path(directory) / "sound"
        sound.write_bytes(run.random.randbytes(80_000))
        replies = control.wanted([f"new wav_stream w{i} room" for i in range(count)])
        control.wanted(["new conference talk", f"new sound_stream s {sound} loop PCMU",
                        "join talk s"])
        begin = time.monotonic()
        control.wanted([f"join talk w{i}" for i in range(count)])
        time.sleep(5)
        growth, longest = Growth(daemon), 0.0
        while time.monotonic() < begin + seconds:
            time.sleep(5)
            longest = max(longest, longest_turn_ms(metrics))
        yield from growth.findings(1024)
        control.wanted([f"delete stream w{i}" for i in range(count)])
        took = time.monotonic() - begin
        yield exactly("recordings told to be finished", count,
                      control.count_notices("REC_FINISHED", count))
        files = [pathlib.Path(daemon.store, pathlib.Path(reply.split()[1]).name)
                 for reply in replies]
        off = max(abs((file.stat().st_size - 44) / 16_000 - took) for file in files)
        yield at_most("s between a file's length and the clock", 0.1, round(off, 3))
        yield at_most("ms without looking for packets", 20, round(longest, 2))
        yield none_lost(peers.settle())
