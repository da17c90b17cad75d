#!/usr/bin/env python3
"""A small conference on a running vocalink daemon, with the daemon's Python client.

    conference.py SOCKET LOCAL_IP NAME=IP:PORT[/ENCODING] ...

Everybody hears a tone when somebody joins, each party is recorded, and the keys of the telephones
work: "*" mutes and unmutes its party, "#" takes it out of the conference. Runs until the last party
has gone or it is interrupted; the daemon then deletes what is left. In the source tree it needs
PYTHONPATH=clients/python.
"""

import asyncio
import math
import os
import sys
import tempfile

import vocalink
from vocalink import Notice

STAR, POUND = "10", "11"  # event codes of RFC 4733


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
    def __init__(self, link, tone):
        self.link = link
        self.tone = tone
        self.parties = set()
        self.muted = set()
        self.tones = 0

    async def add(self, name, local_ip, remote, encoding):
        ip, port = remote.rsplit(":", 1)
        reply = await self.link.command("new", "rtp_stream", name, local_ip, ip, port, encoding)
        local_port, local = reply.split()
        path = await self.link.command("recording", "start", name, name, "pcap")
        await self.link.command("join", "conference", name)
        self.parties.add(name)
        print(f"{name} sends to {local}:{local_port}, recorded in {path}", flush=True)
        await self.play_tone()

    async def play_tone(self):
        self.tones += 1
        tone = f"tone {self.tones}"
        await self.link.command("new", "sound_stream", tone, self.tone, "noloop", "PCMU")
        await self.link.command("join", "conference", tone)

    async def key(self, name, event):
        if event == STAR and name in self.muted:
            await self.link.command("clear", "stream", name, "restricted")
            self.muted.discard(name)
            print(f"{name} speaks again", flush=True)
        elif event == STAR:
            # A restricted stream without targets is heard by nobody.
            await self.link.command("set", "stream", name, "restricted")
            self.muted.add(name)
            print(f"{name} is muted", flush=True)
        elif event == POUND:
            self.gone(name, await self.link.command("delete", "stream", name))

    def gone(self, name, statistics):
        self.parties.discard(name)
        self.muted.discard(name)
        print(f"{name} has left, {statistics}", flush=True)

    async def run(self):
        while self.parties:
            match await self.link.notice():
                case Notice("DTMF_START", {"stream": name, "event": event}) if name in self.parties:
                    await self.key(name, event)
                case Notice("TIMEOUT", {"stream": name, "statistics": statistics}) \
                        if name in self.parties:
                    self.gone(name, statistics)
                case Notice("REC_STARTED" | "REC_FINISHED" as what, {"file": file, "stream": name}):
                    print(f"{what.lower()} {file} of {name}", flush=True)


async def main():
    if len(sys.argv) < 4:
        sys.exit(__doc__)
    with tempfile.TemporaryDirectory() as directory:
        tone = os.path.join(directory, "join.ulaw")
        write_join_tone(tone)
        async with await vocalink.connect(sys.argv[1]) as link:
            conference = Conference(link, tone)
            await link.command("new", "conference", "conference")
            for party in sys.argv[3:]:
                name, _, address = party.partition("=")
                remote, _, encoding = address.partition("/")
                await conference.add(name, sys.argv[2], remote, encoding or "PCMU")
            await conference.run()


if __name__ == "__main__":
    try:
        asyncio.run(main())
    except KeyboardInterrupt:
        pass
