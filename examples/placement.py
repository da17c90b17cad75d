#!/usr/bin/env python3
"""Spreads two-party calls over the vocalink daemons of one host or of many.

    placement.py SOCKET=LOCAL_IP ...

LOCAL_IP is the address of the daemon's host that callers reach. Reads lines

    call NAME IP:PORT IP:PORT ENCODING
    end NAME

and answers each with a line: where both telephones send to, or what went wrong. A call goes to the
daemon that has the fewest, and to the next one when that has no ports left. When a daemon goes, it
names the calls that have ended with it; when one comes, it is used. In the source tree it needs
PYTHONPATH=clients/python.
"""

import asyncio
import sys

import vocalink


class Daemon:
    def __init__(self, path, local_ip):
        self.path = path
        self.local_ip = local_ip
        self.link = None  # while there is a connection
        self.calls = set()

    async def keep(self):
        await vocalink.keep_connected(self.path, self.session)

    async def session(self, link):
        self.link = link
        print(f"{self.path} is here", flush=True)
        try:
            async for notice in link.notices():
                if notice.kind == "TIMEOUT" and "stream" in notice.values:
                    await self.end(notice.values["stream"].rpartition(" ")[0])
        finally:
            self.link = None
            for name in self.calls:
                print(f"lost {name}", flush=True)
            self.calls.clear()

    async def begin(self, name, far_ends, encoding):
        """Returns where each far end sends to. A call that is refused leaves nothing behind."""
        self.calls.add(name)
        try:
            await self.link.command("new", "vocalink", name)
            here = []
            for side, far_end in enumerate(far_ends):
                ip, _, port = far_end.partition(":")
                stream = f"{name} {side}"
                reply = await self.link.command(
                    "new", "rtp_stream", stream, self.local_ip, ip, port, encoding)
                await self.link.command("join", name, stream)
                port, ip = reply.split()
                here.append(f"{ip}:{port}")
            return here
        except vocalink.CommandError:
            await self.end(name)
            raise

    async def end(self, name):
        self.calls.discard(name)
        for words in (("stream", f"{name} 0"), ("stream", f"{name} 1"), ("bridge", name)):
            try:
                await self.link.command("delete", *words)
            except vocalink.CommandError:
                pass  # it has ended by itself, or was never made


class Fleet:
    def __init__(self, daemons):
        self.daemons = daemons

    async def begin(self, name, *words):
        *far_ends, encoding = words
        if any(name in daemon.calls for daemon in self.daemons):
            return f"{name} is going on"
        present = [daemon for daemon in self.daemons if daemon.link]
        for daemon in sorted(present, key=lambda daemon: len(daemon.calls)):
            try:
                here = await daemon.begin(name, far_ends, encoding)
                return f"{name} at {' and '.join(here)}"
            except vocalink.ConnectionLost:
                pass
            except vocalink.CommandError as error:
                if "No available UDP ports" not in error.reply:
                    return f"{name} failed: {error.reply}"
        return f"{name} failed: no daemon takes it"

    async def end(self, name):
        for daemon in self.daemons:
            if name in daemon.calls and daemon.link:
                await daemon.end(name)
                return f"{name} ended"
        return f"{name} is not known"

    async def run(self, line):
        match line.split():
            case ["call", name, first, second, encoding]:
                return await self.begin(name, first, second, encoding)
            case ["end", name]:
                return await self.end(name)
        return "call NAME IP:PORT IP:PORT ENCODING, or end NAME"


async def main():
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    fleet = Fleet([Daemon(*word.rsplit("=", 1)) for word in sys.argv[1:]])
    async with asyncio.TaskGroup() as tasks:
        keepers = [tasks.create_task(daemon.keep()) for daemon in fleet.daemons]
        while line := await asyncio.to_thread(sys.stdin.readline):
            try:
                print(await fleet.run(line), flush=True)
            except vocalink.ConnectionLost as error:
                print(error, flush=True)
        for keeper in keepers:
            keeper.cancel()


if __name__ == "__main__":
    asyncio.run(main())
