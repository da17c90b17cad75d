#!/usr/bin/env python3
"""A small conference on a running vocalink daemon, with Python's standard library alone.

    conference.py SOCKET LOCAL_IP NAME=IP:PORT[/ENCODING] ...

Everybody hears a tone when somebody joins, each party is recorded, and the keys of the telephones
work: "*" mutes and unmutes its party, "#" takes it out of the conference. Runs until the last party
has gone or it is interrupted; the daemon then deletes what is left.
"""

import math
import os
import socket
import sys
import tempfile
from collections import deque

STAR, POUND = 10, 11  # event codes of RFC 4733


class Controller:
    """One connection to the control socket: a reply for each command, notices in between."""

    def __init__(self, path):
        self.socket = socket.socket(socket.AF_UNIX)
        self.socket.connect(path)
        self.lines = self.socket.makefile("r", newline="\n")
        self.notices = deque()
        assert self.lines.readline() == "RECOVER_OK\n"

    def command(self, *words):
        """Sends one command; returns the words behind SUCCESS."""
        line = " ".join('"%s"' % word.replace("\\", "\\\\").replace('"', '\\"') for word in words)
        self.socket.sendall(line.encode() + b"\n")
        while True:
            reply = self.read_line()
            if reply.startswith("SUCCESS"):
                return reply.split()[1:]
            if reply.startswith("ERROR"):
                raise RuntimeError(f"{line}: {reply}")
            self.notices.append(reply)

    def notice(self):
        """The next notice, in words."""
        while True:
            line = self.notices.popleft() if self.notices else self.read_line()
            if line:
                return line.split()

    def read_line(self):
        line = self.lines.readline()
        if not line:
            raise EOFError("the daemon has gone")
        return line.rstrip("\n")


def ulaw(sample):
    """One µ-law byte (G.711)."""
    sign = 0x80 if sample < 0 else 0
    magnitude = min(abs(sample), 32635) + 132
    exponent = magnitude.bit_length() - 8
    return ~(sign | exponent << 4 | magnitude >> (exponent + 3) & 0x0F) & 0xFF


def write_join_tone(path):
    """A fifth of a second of 880 Hz, faded out; 8,000 samples a second, whole frames of 160."""
    samples = 10 * 160
    with open(path, "wb") as file:
        file.write(bytes(ulaw(int(8000 * (1 - i / samples) * math.sin(2 * math.pi * 880 * i / 8000)))
                         for i in range(samples)))


class Conference:
    def __init__(self, control, tone):
        self.control = control
        self.tone = tone
        self.parties = set()
        self.muted = set()
        self.tones = 0
        control.command("new", "conference", "conference")

    def add(self, name, local_ip, remote, encoding):
        ip, port = remote.rsplit(":", 1)
        local_port, local = self.control.command("new", "rtp_stream", name, local_ip, ip, port, encoding)
        path, = self.control.command("recording", "start", name, name, "pcap")
        self.control.command("join", "conference", name)
        self.parties.add(name)
        print(f"{name} sends to {local}:{local_port}, recorded in {path}", flush=True)
        self.play_tone()

    def play_tone(self):
        self.tones += 1
        self.control.command("new", "sound_stream", f"tone {self.tones}", self.tone, "noloop", "PCMU")
        self.control.command("join", "conference", f"tone {self.tones}")

    def key(self, name, event):
        if event == STAR and name in self.muted:
            self.control.command("clear", "stream", name, "restricted")
            self.muted.discard(name)
            print(f"{name} speaks again", flush=True)
        elif event == STAR:
            # A restricted stream without targets is heard by nobody.
            self.control.command("set", "stream", name, "restricted")
            self.muted.add(name)
            print(f"{name} is muted", flush=True)
        elif event == POUND:
            counts = self.control.command("delete", "stream", name)
            self.gone(name, " ".join(counts))

    def gone(self, name, why):
        self.parties.discard(name)
        self.muted.discard(name)
        print(f"{name} has left, {why}", flush=True)

    def run(self):
        while self.parties:
            match self.control.notice():
                case ["DTMF_START", "STREAM", name, "EVENT", event, *_] if name in self.parties:
                    self.key(name, int(event))
                case ["TIMEOUT", "STREAM", name, *counts] if name in self.parties:
                    self.gone(name, " ".join(counts))
                case ["REC_STARTED" | "REC_FINISHED" as what, file, name]:
                    print(f"{what.lower()} {file} of {name}", flush=True)


def main():
    if len(sys.argv) < 4:
        sys.exit(__doc__)
    control = Controller(sys.argv[1])
    with tempfile.TemporaryDirectory() as directory:
        tone = os.path.join(directory, "join.ulaw")
        write_join_tone(tone)
        conference = Conference(control, tone)
        for party in sys.argv[3:]:
            name, _, address = party.partition("=")
            remote, _, encoding = address.partition("/")
            conference.add(name, sys.argv[2], remote, encoding or "PCMU")
        try:
            conference.run()
        except KeyboardInterrupt:
            pass


if __name__ == "__main__":
    main()
