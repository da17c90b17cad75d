# SPDX-License-Identifier: GPL-3.0-or-later
"""What a scene is, and what it finds."""

from __future__ import annotations

import dataclasses
import random
from typing import Callable, Iterator

from daemon import Daemon


@dataclasses.dataclass
class Finding:
    """One line of the table."""
    what: str
    wanted: str
    measured: str
    ok: bool


@dataclasses.dataclass
class Run:
    """The sizes of this run. Random choices are the same in each."""
    full: bool
    random: random.Random

    def size(self, small: int, full: int) -> int:
        return full if self.full else small


class Skipped(Exception):
    """The machine does not allow the scene."""


Scene = Callable[[Run], Iterator[Finding]]
SCENES: dict[str, Scene] = {}


def scene(made: Scene) -> Scene:
    SCENES[made.__name__] = made
    return made


def at_most(what: str, most: float, measured: float, unit: str = "") -> Finding:
    return Finding(what, f"at most {most:g}{unit}", f"{measured:g}{unit}", measured <= most)


def exactly(what: str, wanted: int, measured: int) -> Finding:
    return Finding(what, str(wanted), str(measured), measured == wanted)


def none_lost(sent_and_lost: tuple[int, int]) -> Finding:
    sent, lost = sent_and_lost
    return Finding("packets lost by the steady calls", "0", f"{lost} of {sent}",
                   lost == 0 and sent > 0)


class Growth:
    """What a daemon holds more in the end than when this was made."""

    def __init__(self, daemon: Daemon) -> None:
        self.daemon = daemon
        self.memory, self.descriptors = daemon.memory_kib(), daemon.descriptors()

    def findings(self, most_kib: int) -> Iterator[Finding]:
        yield at_most("memory grown", most_kib, self.daemon.memory_kib() - self.memory, " KiB")
        yield at_most("descriptors grown", 0, self.daemon.descriptors() - self.descriptors)
