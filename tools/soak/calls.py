# SPDX-License-Identifier: GPL-3.0-or-later
"""Scenes of many calls, long calls and many recordings, and of a daemon that is stopped or killed."""

from __future__ import annotations

import glob
import os
import pathlib
import signal
import struct
import subprocess
import time
from typing import Iterator

from daemon import Daemon, Peers
from scene import Finding, Growth, Run, at_most, exactly, none_lost, scene

PCAP_HEADER = 24
LOG_BUFFERS_KIB = 2560  # what a log that falls behind for a moment fills, and a little
RECOVER = pathlib.Path(__file__).resolve().parents[2] / "scripts" / "vocalink-recover-recordings"


def one_call(number: int) -> list[str]:
    """Set-up and tear-down of a call, with its recording."""
    lines = [f"new vocalink c{number}"]
    for side in "ab":
        lines += [f"new rtp_stream {side}{number} 127.0.0.1 127.0.0.1 9 PCMU",
                  f"join c{number} {side}{number}"]
    return lines + [f"delete stream a{number}", f"delete stream b{number}",
                    f"delete bridge c{number}"]


@scene
def set_up(run: Run) -> Iterator[Finding]:
    """Calls made and ended, thousands of them."""
    count = run.size(10_000, 432_000)
    with Daemon() as daemon, Peers() as peers:
        control = daemon.controller()
        peers.calls(control, 20)
        begin = time.monotonic()
        for number in range(0, count, 100):
            if number == count // 4:
                growth = Growth(daemon)
            control.wanted([line for i in range(number, number + 100) for line in one_call(i)])
        rate = count / (time.monotonic() - begin)
        yield Finding("calls set up and torn down", f"{count}", f"{count}, {rate:.0f} a second",
                      True)
        yield none_lost(peers.settle())
        yield from growth.findings(LOG_BUFFERS_KIB)


@scene
def long_calls(run: Run) -> Iterator[Finding]:
    """Many calls at once, for a long time."""
    count, seconds = run.size(200, 1_000), run.size(20, 3_600)
    with Daemon() as daemon, Peers() as peers:
        control = daemon.controller()
        peers.calls(control, count)
        time.sleep(2)
        growth = Growth(daemon)
        time.sleep(seconds)
        sent, lost = peers.settle()
        yield Finding(f"packets of {count} calls in {seconds} s", f"{count * 100 * seconds}",
                      f"{sent}", sent >= count * 100 * seconds)
        yield none_lost((sent, lost))
        yield from growth.findings(256)


@scene
def recordings(run: Run) -> Iterator[Finding]:
    """Short recordings, as fast as they can be moved."""
    rounds, at_once = run.size(20, 1_000), 100
    with Daemon() as daemon, Peers() as peers:
        control = daemon.controller()
        peers.calls(control, at_once // 2)
        legs = [f"call{side}{i}" for i in range(at_once // 2) for side in "ab"]
        begin = time.monotonic()
        for number in range(rounds):
            if number == rounds // 4:
                control.count_notices("REC_FINISHED", number * at_once)
                growth = Growth(daemon)
            control.wanted([f"recording start {leg} r{number} pcap" for leg in legs])
            control.wanted([f"recording stop {leg} r{number}" for leg in legs])
        count = rounds * at_once
        told = control.count_notices("REC_FINISHED", count)
        rate = count / (time.monotonic() - begin)
        yield exactly("recordings told to be finished", count, told)
        yield exactly("files in the store directory", count, len(os.listdir(daemon.store)))
        yield exactly("files left in the work directory", 0, len(os.listdir(daemon.work)))
        yield at_most("ms for each recording, from start to store", 20, round(1000 / rate, 2))
        yield none_lost(peers.settle())
        yield from growth.findings(1024)


def last_record_s(path: str) -> float | None:
    """The time of the last record of a pcap file, or nothing when it holds a broken one."""
    content = pathlib.Path(path).read_bytes()
    at, stamp = PCAP_HEADER, None
    while at < len(content):
        if at + 16 > len(content):
            return None
        seconds, microseconds, captured, _ = struct.unpack_from("<IIII", content, at)
        stamp = seconds + microseconds * 1e-6
        at += 16 + captured
    return stamp if at == len(content) else None


@scene
def killed(run: Run) -> Iterator[Finding]:
    """SIGKILL while every leg is recorded."""
    legs = 200
    with Daemon() as daemon, Peers() as peers:
        control = daemon.controller()
        peers.calls(control, legs // 2)
        control.wanted([f"recording start call{side}{i} r pcap"
                        for i in range(legs // 2) for side in "ab"])
        time.sleep(5 + run.random.random())
        daemon.kill()
        killed_at = time.time()
        status = subprocess.run([RECOVER, daemon.work, daemon.store]).returncode
        yield exactly("exit status of vocalink-recover-recordings", 0, status)
        ends = [last_record_s(path) for path in glob.glob(daemon.store + "/*.pcap")]
        whole = [end for end in ends if end is not None]
        yield exactly("recordings that can be read", legs, len(whole))
        lost = max(killed_at - end for end in whole) if whole else 999
        yield at_most("lost of a recording", 1, round(lost, 2), " s")


@scene
def stopped(run: Run) -> Iterator[Finding]:
    """SIGSTOP for ten seconds: packets are lost, and nothing else."""
    with Daemon() as daemon, Peers() as peers:
        control = daemon.controller()
        peers.calls(control, 100)
        time.sleep(2)
        growth = Growth(daemon)
        lines = daemon.log_lines()
        daemon.process.send_signal(signal.SIGSTOP)
        time.sleep(10)
        daemon.process.send_signal(signal.SIGCONT)
        time.sleep(1)
        control.command("recover")
        sent, lost = peers.settle()
        most = 200 * 10 * 50
        yield at_most("packets lost of those of 10 s", most, lost)
        yield exactly("calls that are still there", 100,
                      control.command("list bridges").count("(calla"))
        yield exactly("calls that ended by themselves", 0, len(control.notices))
        peers.ask("calls " + " ".join(port_of(row) for row in rows(control)))
        time.sleep(2)
        yield none_lost(peers.settle())
        yield at_most("log lines", 100, daemon.log_lines() - lines)
        yield from growth.findings(1024)


def rows(control) -> list[list[str]]:
    """The steady calls' rows of `list streams`, in the order of the calls."""
    listed = control.command("list streams").removeprefix("SUCCESS ").strip("()").split("),(")
    found = [row.split(",") for row in listed]
    return sorted(found, key=lambda row: (int(row[0][5:]), row[0][4]))


def port_of(row: list[str]) -> str:
    return row[3]
