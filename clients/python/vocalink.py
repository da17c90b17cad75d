# SPDX-License-Identifier: GPL-3.0-or-later
"""Controls a vocalink daemon from asyncio.

    async with await vocalink.connect("/run/vocalink/main.sock") as link:
        port, ip = (await link.command(
            "new", "rtp_stream", "anna", "192.0.2.1", "192.0.2.9", "4000", "PCMU")).split()
        await link.command("new", "conference", "room")
        await link.command("join", "room", "anna")
        async for notice in link.notices():
            match notice:
                case vocalink.Notice("DTMF_START", {"stream": stream, "event": event}):
                    print(stream, "presses", event)

The commands, their replies and the notices are described in the daemon's docs/protocol.md. What a
link has created ends with the link.
"""

from __future__ import annotations

import asyncio
import contextlib
import itertools
import re
import socket
from collections import deque
from collections.abc import AsyncIterator, Awaitable, Callable
from dataclasses import dataclass, field
from types import TracebackType
from typing import TypeVar

__all__ = ["CommandError", "ConnectionLost", "Error", "Link", "Notice", "connect",
           "keep_connected", "quote"]

Result = TypeVar("Result")

_PLAIN_WORD = re.compile(r"[\w.:/*#+,()=-]+", re.ASCII)
_LONGEST_REPLY = 1 << 30  # bytes; a listing has some 60 for each stream
_LONGEST_PAUSE_S = 5.0

# Ids may have blanks, so each form is anchored by the words that end it.
_NOTICE_FORMS = [re.compile(form, re.DOTALL) for form in (
    r"(DTMF_START) STREAM (?P<stream>.*) EVENT (?P<event>\d+) VOLUME (?P<volume>\d+)",
    r"(DTMF_END) STREAM (?P<stream>.*) EVENT (?P<event>\d+) VOLUME (?P<volume>\d+)"
    r" DURATION (?P<duration>\d+)",
    r"(CODE) DETECT (?P<stream>.*) (?P<bytes>\S+ \S+ \S+)",
    r"(TONE) STREAM (?P<stream>.*) DIGITS (?P<digits>\S+)",
    r"(TIMEOUT) STREAM (?P<stream>.*) (?P<statistics>incoming_packets=.*)",
    r"(TIMEOUT) BRIDGE (?P<bridge>.*)",
    r"(REC_STARTED|REC_FINISHED) (?P<file>.*?_[0-9A-Z]+-[0-9A-Z]+\.\w+) (?P<stream>.*)",
    r"(NOTICES) DROPPED (?P<count>\d+)",
)]


class Error(Exception):
    """What this module raises of its own."""


class CommandError(Error):
    """The daemon has refused a command."""

    def __init__(self, words: tuple[str, ...], reply: str) -> None:
        # The first words name the command; keys of an encryption may come behind them.
        super().__init__(f"{' '.join(words[:3])}: {reply}")
        self.reply = reply

    @property
    def kind(self) -> str:
        """COMMAND_ERROR, STREAM_ERROR or BRIDGE_ERROR; empty for an id, endpoint or key refused."""
        word = self.reply.removeprefix("ERROR ").partition(" ")[0]
        return word if word.endswith("_ERROR") else ""


class ConnectionLost(Error, ConnectionError):
    """The daemon has gone, or the link was closed. What the link had created has ended."""


@dataclass(frozen=True)
class Notice:
    """What the daemon says unasked."""

    kind: str  # the first word
    values: dict[str, str] = field(hash=False)  # by the names in _NOTICE_FORMS; often "stream"
    text: str = field(compare=False)  # the whole line

    __match_args__ = ("kind", "values")

    @classmethod
    def parse(cls, line: str) -> Notice:
        """A line of no known form has no values."""
        for form in _NOTICE_FORMS:
            if match := form.fullmatch(line):
                return cls(match[1], match.groupdict(), line)
        return cls(line.partition(" ")[0], {}, line)


def quote(word: str) -> str:
    """The word as it stands in a command.

    Raises ValueError for what no command can have: an empty word, or a newline in one.
    """
    if not word or "\n" in word:
        raise ValueError(f"no command can have the word {word!r}")
    if _PLAIN_WORD.fullmatch(word):
        return word
    return '"' + word.replace("\\", "\\\\").replace('"', '\\"') + '"'


class Link:
    """One connection to the daemon, made by connect(). Belongs to one event loop, of which any number
    of tasks may give commands at the same time. A context manager, which closes it.

    Notices wait until they are taken. Beyond most_notices the newest are left out, and a notice of
    the kind NOTICES, with their count, stands in their place.
    """

    def __init__(self, reader: asyncio.StreamReader, writer: asyncio.StreamWriter,
                 most_notices: int) -> None:
        self._reader = reader
        self._writer = writer
        self._tags = itertools.count(1)
        self._waiting: dict[str, asyncio.Future[str]] = {}  # replies, by tag
        self._notices: deque[str] = deque()
        self._most_notices = most_notices
        self._dropped = 0  # since the last in _notices
        self._news = asyncio.Event()  # a notice or the end
        self._ended = ""  # why, once it has
        self._reading = asyncio.create_task(self._read())

    async def command(self, *words: str) -> str:
        """Runs one command. Returns what the reply has behind SUCCESS; RECOVER_OK for "recover".

        Raises CommandError when the daemon refuses, and ConnectionLost when it goes before it has
        replied; the command may have been run then. A caller that is cancelled leaves the command
        running.
        """
        line = " ".join(map(quote, words))
        if self._ended:
            raise ConnectionLost(self._ended)
        tag = f"#{next(self._tags)}"
        reply: asyncio.Future[str] = asyncio.get_running_loop().create_future()
        self._waiting[tag] = reply
        try:
            self._writer.write(f"{tag} {line}\n".encode(errors="surrogateescape"))
            with contextlib.suppress(ConnectionError):  # the reader tells of it
                await self._writer.drain()
            text = await reply
        finally:
            del self._waiting[tag]
        if text.startswith("ERROR"):
            raise CommandError(words, text)
        return text.removeprefix("SUCCESS").removeprefix(" ")

    async def notice(self) -> Notice:
        """The next notice. Raises ConnectionLost when none is left and none can come."""
        while not self._notices and not self._dropped:
            if self._ended:
                raise ConnectionLost(self._ended)
            self._news.clear()
            await self._news.wait()
        if not self._notices:
            self._tell_dropped()
        return Notice.parse(self._notices.popleft())

    async def notices(self) -> AsyncIterator[Notice]:
        """All notices from now on; ends like notice()."""
        while True:
            yield await self.notice()

    async def close(self) -> None:
        """Ends the link, and with it what it has created. Further calls do nothing."""
        self._end("the link was closed")
        self._reading.cancel()
        self._writer.close()
        with contextlib.suppress(ConnectionError):
            await self._writer.wait_closed()

    async def __aenter__(self) -> Link:
        return self

    async def __aexit__(self, kind: type[BaseException] | None, error: BaseException | None,
                        trace: TracebackType | None) -> None:
        await self.close()

    async def _read(self) -> None:
        try:
            while (line := await self._reader.readline()).endswith(b"\n"):
                self._take(line[:-1].decode(errors="surrogateescape"))
        except ConnectionError:
            pass
        finally:
            self._end("the daemon has closed the connection")

    def _take(self, line: str) -> None:
        tag, _, text = line.partition(" ")
        if line.startswith("#"):
            # Nobody waits for the reply to a caller that was cancelled.
            if (reply := self._waiting.get(tag)) and not reply.done():
                reply.set_result(text)
        elif line:  # a bridge's time-out is followed by an empty line
            self._keep(line)

    def _keep(self, notice: str) -> None:
        if len(self._notices) < self._most_notices:
            self._tell_dropped()
            self._notices.append(notice)
            self._news.set()
        else:
            self._dropped += 1

    def _tell_dropped(self) -> None:
        if self._dropped:
            self._notices.append(f"NOTICES DROPPED {self._dropped}")
            self._dropped = 0

    def _end(self, why: str) -> None:
        self._ended = self._ended or why
        for reply in self._waiting.values():
            if not reply.done():
                reply.set_exception(ConnectionLost(self._ended))
        self._news.set()


async def _connected_socket(path: str) -> socket.socket:
    connected = socket.socket(socket.AF_UNIX)
    connected.setblocking(False)
    try:
        while True:
            try:
                connected.connect(path)
                return connected
            except BlockingIOError:  # others connect at this moment, and asyncio would not wait
                await asyncio.sleep(0.01)
    except BaseException:
        connected.close()
        raise


async def connect(path: str, *, most_notices: int = 10_000) -> Link:
    """A link to the daemon that listens on the path.

    Raises OSError when there is none, ConnectionLost when it goes at once, and CommandError when it
    is too old for "framing lines tags".
    """
    reader, writer = await asyncio.open_unix_connection(
        sock=await _connected_socket(path), limit=_LONGEST_REPLY)
    try:
        await reader.readline()  # the greeting
        words = ("framing", "lines", "tags")
        writer.write(" ".join(words).encode() + b"\n")
        reply = (await reader.readline()).decode().rstrip("\n")
        if not reply:
            raise ConnectionLost("the daemon has closed the connection")
        if reply != "SUCCESS":
            raise CommandError(words, reply)
        return Link(reader, writer, most_notices)
    except BaseException:
        writer.close()
        raise


async def keep_connected(path: str, session: Callable[[Link], Awaitable[Result]]) -> Result:
    """Calls session with a link, and again with a new one whenever the daemon has gone, until it
    returns. What the link before had created is lost; the session creates it anew.

    While there is no daemon it tries again, after a tenth of a second at first, then more slowly up
    to every five seconds. Other errors than a lost connection end it.
    """
    pause_s = 0.1
    while True:
        try:
            link = await connect(path)
        except (ConnectionError, FileNotFoundError):
            pass
        else:
            pause_s = 0.1
            with contextlib.suppress(ConnectionLost):
                async with link:
                    return await session(link)
        await asyncio.sleep(pause_s)
        pause_s = min(2 * pause_s, _LONGEST_PAUSE_S)
