# SPDX-License-Identifier: GPL-3.0-or-later
"""The daemon under a soak run, its controllers, and the far ends of its calls."""

from __future__ import annotations

import os
import pathlib
import resource
import shutil
import signal
import socket
import subprocess
import tempfile
import time

BUILD = pathlib.Path(__file__).resolve().parents[2] / "build" / "release"
PATIENCE_S = 30.0


class Controller:
    """A connection in ordinary framing; commands are answered in order."""

    def __init__(self, path: str) -> None:
        self.socket = socket.socket(socket.AF_UNIX)
        self.socket.settimeout(PATIENCE_S)
        self.connect(path)
        self.unread = b""
        self.notices: list[str] = []
        self.next_line()  # the greeting
        self.command("framing lines")

    def connect(self, path: str) -> None:
        """Waits for a daemon that has just been started."""
        until = time.monotonic() + PATIENCE_S
        while True:
            try:
                self.socket.connect(path)
                return
            except (FileNotFoundError, ConnectionRefusedError):
                if time.monotonic() > until:
                    raise
                time.sleep(0.01)

    def next_line(self) -> str:
        while b"\n" not in self.unread:
            received = self.socket.recv(1 << 20)
            if not received:
                raise EOFError("the daemon has closed the connection")
            self.unread += received
        line, _, self.unread = self.unread.partition(b"\n")
        return line.decode(errors="replace")

    def reply(self) -> str:
        while True:
            line = self.next_line()
            if line.startswith(("SUCCESS", "ERROR", "RECOVER_OK")):
                return line
            self.notices.append(line)

    def command(self, line: str) -> str:
        return self.commands([line])[0]

    def commands(self, lines: list[str], at_once: int = 200) -> list[str]:
        replies = []
        for begin in range(0, len(lines), at_once):
            some = lines[begin : begin + at_once]
            self.socket.sendall("".join(line + "\n" for line in some).encode())
            replies += [self.reply() for _ in some]
        return replies

    def wanted(self, lines: list[str]) -> list[str]:
        """Commands that must succeed."""
        replies = self.commands(lines)
        for line, reply in zip(lines, replies):
            if not reply.startswith("SUCCESS"):
                raise RuntimeError(f"{line!r} was answered with {reply!r}")
        return replies

    def count_notices(self, kind: str, wanted: int, patience_s: float = PATIENCE_S) -> int:
        """Waits until so many notices of a kind have come."""
        until = time.monotonic() + patience_s
        while time.monotonic() < until:
            self.command("recover")
            count = sum(notice.startswith(kind) for notice in self.notices)
            if count >= wanted:
                return count
            time.sleep(0.02)
        return count

    def close(self) -> None:
        self.socket.close()


class Daemon:
    """A daemon in a directory of its own, which is removed with it."""

    def __init__(self, *options: str, descriptors: int = 0, slow_ms: int = 0,
                 unread_log: bool = False) -> None:
        self.directory = tempfile.mkdtemp(prefix="vl-soak-")
        self.work, self.store = f"{self.directory}/work", f"{self.directory}/store"
        os.mkdir(self.work)
        os.mkdir(self.store)
        self.socket_path = f"{self.directory}/control"
        self.log_path = f"{self.directory}/log"
        self.unread, log = os.pipe() if unread_log else (
            -1, os.open(self.log_path, os.O_WRONLY | os.O_CREAT | os.O_APPEND))
        environment = dict(os.environ)
        if slow_ms:
            environment["LD_PRELOAD"] = str(BUILD / "tools/soak/libvocalink_slow_disk.so")
            environment["VOCALINK_SLOW_DISK_MS"] = str(slow_ms)

        def limit() -> None:
            if descriptors:
                resource.setrlimit(resource.RLIMIT_NOFILE, (descriptors, descriptors))

        self.process = subprocess.Popen(
            [BUILD / "src/vocalink", "-s", self.socket_path, "-a", self.work, "-l", self.store,
             *options],
            stderr=log, stdout=log, stdin=subprocess.DEVNULL, env=environment, preexec_fn=limit)
        os.close(log)

    def __enter__(self) -> Daemon:
        return self

    def __exit__(self, *_: object) -> None:
        try:
            self.stop()
        finally:
            self.process.kill()
            if self.unread >= 0:
                os.close(self.unread)
            shutil.rmtree(self.directory)

    def stop(self) -> None:
        """Ends it as a service manager does. A daemon that crashed is a failure of the scene."""
        self.process.send_signal(signal.SIGTERM)
        if self.process.wait(PATIENCE_S) not in (0, -signal.SIGKILL):
            raise RuntimeError(f"the daemon ended with {self.process.returncode}")

    def kill(self) -> None:
        self.process.kill()
        self.process.wait()

    def controller(self) -> Controller:
        return Controller(self.socket_path)

    def memory_kib(self) -> int:
        status = pathlib.Path(f"/proc/{self.process.pid}/status").read_text()
        return next(int(line.split()[1]) for line in status.splitlines()
                    if line.startswith("VmRSS:"))

    def descriptors(self) -> int:
        return len(os.listdir(f"/proc/{self.process.pid}/fd"))

    def log_lines(self) -> int:
        with open(self.log_path, "rb") as log:
            return sum(1 for _ in log)


class Peers:
    """The far ends, in a process of their own."""

    def __init__(self) -> None:
        self.process = subprocess.Popen([BUILD / "tools/soak/vocalink_soak_peers"], text=True,
                                        stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        assert self.process.stdin and self.process.stdout
        self.input, self.output = self.process.stdin, self.process.stdout
        self.port = int(self.ask("port"))

    def __enter__(self) -> Peers:
        return self

    def __exit__(self, *_: object) -> None:
        self.input.close()
        self.process.wait(PATIENCE_S)

    def ask(self, command: str) -> str:
        self.input.write(command + "\n")
        self.input.flush()
        return self.output.readline().strip()

    def legs(self, control: Controller, name: str, count: int,
             bridge: str = "vocalink") -> list[str]:
        """Makes pairs of legs. Returns their ports."""
        lines = []
        for i in range(count):
            lines += [f"new {bridge} {name}{i}"]
            for side in "ab":
                lines += [f"new rtp_stream {name}{side}{i} 127.0.0.1 127.0.0.1 {self.port} PCMU",
                          f"join {name}{i} {name}{side}{i}"]
        replies = control.wanted(lines)
        return [reply.split()[1] for line, reply in zip(lines, replies) if "rtp_stream" in line]

    def calls(self, control: Controller, count: int) -> None:
        """Makes two-party calls and begins to speak in them."""
        self.ask("calls " + " ".join(self.legs(control, "call", count)))

    def dropped(self) -> int:
        """Packets that the far ends' own socket could not hold."""
        for line in pathlib.Path("/proc/net/udp").read_text().splitlines()[1:]:
            words = line.split()
            if int(words[1].split(":")[1], 16) == self.port:
                return int(words[12])
        return 0

    def settle(self) -> tuple[int, int]:
        """Ends the calls. Returns the packets sent, and those lost."""
        words = self.ask("settle").split()
        sent, received = int(words[1]), int(words[3])
        return sent, sent - received - self.dropped()

    def flood(self, kind: str, port: str, rate: int, seconds: float) -> int:
        self.ask(f"flood {kind} {port} {rate}")
        time.sleep(seconds)
        return int(self.ask("calm"))
