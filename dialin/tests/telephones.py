# SPDX-License-Identifier: GPL-3.0-or-later
# Telephones that nobody here wrote: baresip, and SIPp.
import pathlib
import shutil
import socket
import sys

from exchange import LOOPBACK, SKIPPED, free_port, until
from media import read_wave, write_wave

HERE = pathlib.Path(__file__).parent


def need(*programs):
    """Ends the test as skipped where a program is missing."""
    missing = [name for name in programs if shutil.which(name) is None]
    if missing:
        print("skipped, not installed:", *missing, "(Debian: baresip, sip-tester)")
        sys.exit(SKIPPED)


class Baresip:
    """A baresip that says a sine and writes what it hears to a file."""

    def __init__(self, test, name, frequency, codec="pcmu"):
        self.folder = test.folder / name
        self.folder.mkdir()
        self.console = free_port()
        rtp = free_port()
        write_wave(self.folder / "voice.wav", frequency, 60)
        modules = next(pathlib.Path("/usr/lib").rglob("baresip/modules/menu.so")).parent
        (self.folder / "config").write_text((HERE / "baresip.config").read_text().format(
            ip=LOOPBACK, folder=self.folder, rtp=rtp, rtp_end=rtp + 10, modules=modules,
            console=self.console))
        (self.folder / "accounts").write_text(
            f"<sip:{name}@{LOOPBACK}>;regint=0;audio_codecs={codec};ptime=20\n")
        (self.folder / "contacts").touch()
        self.process = test.start("baresip", "-4", "-f", self.folder)
        self.process.wait_for("baresip is ready")
        self.keyboard = socket.create_connection((LOOPBACK, self.console))
        test.addCleanup(self.keyboard.close)

    def type(self, text):
        self.keyboard.sendall(text.encode())

    def call(self, room, port):
        self.type(f"/dial sip:{room}@{LOOPBACK}:{port}\n")
        self.process.wait_for("Call established")

    def press(self, keys):
        for number, key in enumerate(keys):
            already = self.process.log().count(f"digit end: '{key}'")
            self.type(key + "\x04")  # EOT lets the key go
            self.process.wait_for(f"digit end: '{key}'", already + 1)

    def heard(self):
        return read_wave(until(lambda: next(self.folder.glob("dump-*-dec.wav"), None), "a dump"))


def sipp(test, *arguments, room="100"):
    """Starts SIPp as a caller; its screen is its log."""
    # Its own range of media ports is the daemon's, and a daemon on this machine may fill it.
    return test.start("sipp", "-s", room, "-i", LOOPBACK, "-mi", LOOPBACK, "-ci", LOOPBACK,
                      "-p", free_port(), "-mp", free_port(), "-nostdin", "-timeout", "90s",
                      "-timeout_error", *arguments, f"{LOOPBACK}:{test.port}")
