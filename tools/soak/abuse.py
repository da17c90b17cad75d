# SPDX-License-Identifier: GPL-3.0-or-later
"""Scenes of controllers, readers of the log and far ends that behave badly."""

from __future__ import annotations

import socket
import subprocess
import sys
import time
from typing import Iterator

from daemon import Daemon, Peers
from scene import Finding, Growth, Run, Skipped, at_most, exactly, none_lost, scene

FLOODS = ["garbage", "empty", "short", "long", "types", "sources", "audio", "keys", "codes"]
KEYS = "0123456789ABCDEFGHIJ0123456789 0123456789ABCDEFGHIJ0123456789"
MOST_LOG_LINES = 100  # a second


@scene
def stalled_controller(run: Run) -> Iterator[Finding]:
    """A controller that sends and never reads, and gets notices."""
    with Daemon() as daemon, Peers() as peers:
        control, stalled = daemon.controller(), daemon.controller()
        peers.calls(control, run.size(50, 200))
        port = peers.legs(stalled, "bad", 1)[0]
        growth = Growth(daemon)
        stalled.socket.setblocking(False)
        try:
            while True:
                stalled.socket.send(b"show streams\n" * 1000)
        except BlockingIOError:
            pass
        peers.flood("keys", port, 20_000, run.size(10, 120))
        asked = time.monotonic()
        control.command("list streams")
        yield at_most("ms that another controller waited", 200,
                      round((time.monotonic() - asked) * 1000))
        yield none_lost(peers.settle())
        yield at_most("memory grown", 8192, daemon.memory_kib() - growth.memory, " KiB")


@scene
def unread_log(run: Run) -> Iterator[Finding]:
    """A pipe for standard error that nobody reads."""
    with Daemon(unread_log=True) as daemon, Peers() as peers:
        control = daemon.controller()
        peers.calls(control, run.size(50, 200))
        control.commands(["unknown"] * 2_000)
        growth = Growth(daemon)
        refused = control.commands([f"unknown {'x' * 100}"] * run.size(50_000, 1_000_000))
        yield exactly("commands without a reply", 0,
                      sum(not reply.startswith("ERROR") for reply in refused))
        yield none_lost(peers.settle())
        yield from growth.findings(2048)
        daemon.kill()  # a daemon whose log nobody reads may wait a second for it


@scene
def no_descriptors(run: Run) -> Iterator[Finding]:
    """More streams and controllers than the process has descriptors for."""
    with Daemon(descriptors=256) as daemon, Peers() as peers:
        control = daemon.controller()
        peers.calls(control, 20)
        create = [f"new rtp_stream x{i} 127.0.0.1 127.0.0.1 9 PCMU" for i in range(1_000)]
        rounds = run.size(10, 500)
        for number in range(rounds):
            if number == rounds // 2:
                growth = Growth(daemon)
            made = [i for i, reply in enumerate(control.commands(create))
                    if reply.startswith("SUCCESS")]
            refused = control.command("recording start calla0 r pcap")
            waiting = Connecting(daemon)
            control.wanted([f"delete stream x{i}" for i in made])
            waiting.greeted()
        yield at_most("streams made at once", 256, len(made))
        yield Finding("a recording meanwhile", "ERROR", refused, refused.startswith("ERROR"))
        yield none_lost(peers.settle())
        control.command("recover")
        time.sleep(0.5)
        yield from growth.findings(512)


class Connecting:
    """A controller that comes while there is no descriptor for it."""

    def __init__(self, daemon: Daemon) -> None:
        self.socket = socket.socket(socket.AF_UNIX)
        self.socket.settimeout(10)
        self.socket.connect(daemon.socket_path)

    def greeted(self) -> None:
        if not self.socket.recv(100).startswith(b"RECOVER_OK"):
            raise RuntimeError("a controller that had to wait was not greeted")
        self.socket.close()


HOLD_PORTS = """
import resource, socket, sys
most = resource.getrlimit(resource.RLIMIT_NOFILE)[1]
resource.setrlimit(resource.RLIMIT_NOFILE, (most, most))
held = []
for port in range(int(sys.argv[1]), int(sys.argv[2]), 2):
    held.append(socket.socket(socket.AF_INET, socket.SOCK_DGRAM))
    held[-1].bind(("127.0.0.2", port))
print("held", flush=True)
sys.stdin.read()
"""


@scene
def no_ports(run: Run) -> Iterator[Finding]:
    """An address with 50 ports left, the others taken by somebody else."""
    left = 50
    holders = [subprocess.Popen([sys.executable, "-c", HOLD_PORTS, str(begin), str(end)],
                                stdin=subprocess.PIPE, stdout=subprocess.PIPE)
               for begin, end in [(6_000 + 2 * left, 35_000), (35_000, 65_000)]]
    try:
        if not all(holder.stdout and holder.stdout.readline() for holder in holders):
            raise Skipped("the ports of 127.0.0.2 are not free, or the limit of descriptors is low")
        with Daemon() as daemon, Peers() as peers:
            control = daemon.controller()
            peers.calls(control, 20)
            create = [f"new rtp_stream x{i} 127.0.0.2 127.0.0.1 9 PCMU" for i in range(4 * left)]
            slowest = 0.0
            for number in range(run.size(4, 100)):
                if number == 2:
                    growth = Growth(daemon)
                asked = time.monotonic()
                replies = control.commands(create)
                slowest = max(slowest, (time.monotonic() - asked) / (3 * left))
                control.wanted([f"delete stream x{i}" for i, reply in enumerate(replies)
                                if reply.startswith("SUCCESS")])
            yield exactly("streams made", left,
                          sum(reply.startswith("SUCCESS") for reply in replies))
            yield exactly("streams refused", 3 * left,
                          replies.count("ERROR STREAM_ERROR No available UDP ports"))
            yield at_most("ms for each refusal", 100, round(slowest * 1000, 1))
            yield none_lost(peers.settle())
            yield from growth.findings(512)
    finally:
        for holder in holders:
            holder.communicate()


@scene
def floods(run: Run) -> Iterator[Finding]:
    """Every kind of packet that no telephone sends, to one leg of each kind of bridge."""
    calls, seconds, rate = run.size(50, 200), run.size(2, 20), 20_000
    with Daemon() as daemon, Peers() as peers:
        control = daemon.controller()
        peers.calls(control, calls)
        ports = {"relay": peers.legs(control, "relay", 1)[0],
                 "conference": peers.legs(control, "room", 1, "conference")[0],
                 "encrypted": peers.legs(control, "secret", 1)[0]}
        ports["mix"] = peers.legs(control, "mix", 1)[0]
        control.wanted([f"set stream secreta0 encryption {KEYS}",
                        "new rtp_stream mixc 127.0.0.1 127.0.0.1 9 G729", "join mix0 mixc"])
        for port in ports.values():  # makes all that the daemon keeps of such a leg
            for kind in FLOODS:
                peers.flood(kind, port, rate, 0.25)
                control.command("recover")
        control.notices.clear()
        growth = Growth(daemon)
        worst, worst_kind = 0.0, ""
        for bridge, port in ports.items():
            for kind in FLOODS:
                lines, begin = daemon.log_lines(), time.monotonic()
                peers.flood(kind, port, rate, seconds)
                control.command("recover")
                control.notices.clear()
                a_second = (daemon.log_lines() - lines) / (time.monotonic() - begin)
                if a_second > worst:
                    worst, worst_kind = a_second, f"{kind}, {bridge}"
        yield at_most(f"log lines a second under {len(FLOODS)} floods of 4 legs ({worst_kind})",
                      MOST_LOG_LINES, round(worst, 1))
        yield none_lost(peers.settle())
        yield from growth.findings(2048)
