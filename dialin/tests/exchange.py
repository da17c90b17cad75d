# SPDX-License-Identifier: GPL-3.0-or-later
# Starts a daemon and a front end for a test, and reads what they log.
import itertools
import os
import pathlib
import random
import shutil
import signal
import socket
import subprocess
import tempfile
import time
import unittest

LOOPBACK = "127.0.0.1"
PATIENCE_S = 15
DAEMON = os.environ["VOCALINK"]
FRONT_END = os.environ["VOCALINK_DIALIN"]
SOUNDS = pathlib.Path(__file__).parent.parent / "sounds"
SKIPPED = 77  # the exit status that CTest takes for a skipped test
ports = itertools.count(random.randrange(480))


def free_port():
    """A port that is free for UDP and TCP, another each time, and the nine after it with luck. It lies
    below those that daemons and the system give out, so that nobody else takes it before a telephone
    does."""
    while True:
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as udp, socket.socket() as tcp:
            address = (LOOPBACK, 1100 + 10 * (next(ports) % 480))
            try:
                udp.bind(address)
                tcp.bind(address)
                return address[1]
            except OSError:
                pass


def until(condition, what):
    """Waits for a condition and returns its value."""
    deadline = time.monotonic() + PATIENCE_S
    while time.monotonic() < deadline:
        value = condition()
        if value:
            return value
        time.sleep(0.02)
    raise AssertionError(f"not within {PATIENCE_S} s: {what}")


class Process:
    """A program that ends with the test, its log in a file."""

    def __init__(self, arguments, log, **options):
        self.log_file = pathlib.Path(log)
        with open(log, "ab") as output:
            self.process = subprocess.Popen(
                [str(word) for word in arguments], stdin=subprocess.DEVNULL, stdout=output,
                stderr=output, **options)

    def log(self):
        return self.log_file.read_text(errors="replace")

    def wait_for(self, text, count=1):
        until(lambda: self.log().count(text) >= count, f"{count} x {text!r}\n{self.log()[-3000:]}")

    def send_signal(self, number):
        self.process.send_signal(number)

    def end(self, number=signal.SIGINT):
        if self.process.poll() is None:
            self.process.send_signal(number)
        try:
            return self.process.wait(PATIENCE_S)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait()
            raise


class ExchangeTest(unittest.TestCase):
    """A test with a daemon and a front end, bound to `address`; `options` and `environment` are the
    front end's."""

    options = ()
    environment = {}
    address = LOOPBACK

    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="dialin-test-"))
        self.addCleanup(shutil.rmtree, self.folder)
        self.socket = self.folder / "control.sock"
        self.port = free_port()
        self.daemon = None
        self.start_daemon()
        self.front_end = self.start_front_end()

    def start_front_end(self):
        front_end = self.start(
            FRONT_END, "-s", self.socket, "-b", f"{self.address}:{self.port}", "--sounds", SOUNDS,
            *self.options, env={**os.environ, **self.environment})
        front_end.wait_for("connected to")
        front_end.wait_for(f"answering SIP on {self.address}:{self.port}\n")
        return front_end

    def start(self, *arguments, **options):
        """A process that has the test's folder for its own."""
        name = f"{pathlib.Path(arguments[0]).name}-{len(list(self.folder.iterdir()))}.log"
        process = Process(arguments, self.folder / name, cwd=self.folder, **options)
        self.addCleanup(process.end)
        return process

    def start_daemon(self, *options):
        self.daemon = self.start(DAEMON, "-s", self.socket, *options)
        until(self.socket.exists, "the control socket")

    def metric(self, name):
        """A figure that the front end was told to write to the file `metrics`."""
        for line in (self.folder / "metrics").read_text().splitlines():
            if line.startswith(f"vocalink_dialin_{name}{{socket="):
                return int(line.split()[1])
        raise AssertionError(f"no metric {name}")

    def tearDown(self):
        if "-- dialin: ending" not in self.front_end.log():
            self.assertIsNone(self.front_end.process.poll(), self.front_end.log()[-3000:])
