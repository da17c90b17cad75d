# SPDX-License-Identifier: GPL-3.0-or-later
"""The Python client, against the daemon that VOCALINK names."""

import asyncio
import os
import pathlib
import re
import signal
import socket
import struct
import subprocess
import sys
import tempfile
import unittest

HOME = pathlib.Path(__file__).parent.parent
sys.path.insert(0, str(HOME))

import vocalink  # noqa: E402

IP = f"127.{os.getpid() % 250 + 1}.77.1"  # the daemon's ports here are no other test's


class ClientTest(unittest.IsolatedAsyncioTestCase):
    async def asyncSetUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.directory = directory.name
        self.path = f"{self.directory}/socket"
        self.daemon = None
        self.start_daemon()
        self.addCleanup(self.end_daemon, signal.SIGINT)
        self.link = await self.patiently(vocalink.keep_connected(self.path, self.greet))
        self.link = await vocalink.connect(self.path)
        self.addAsyncCleanup(self.link.close)

    def start_daemon(self):
        self.daemon = subprocess.Popen(
            [os.environ["VOCALINK"], "-s", self.path, "-a", self.directory, "-l", self.directory],
            stderr=subprocess.DEVNULL)

    def end_daemon(self, number):
        self.daemon.send_signal(number)
        self.daemon.wait(15)

    async def patiently(self, awaitable):
        return await asyncio.wait_for(awaitable, 15)

    async def greet(self, link):
        return await link.command("recover")

    async def expect_notices(self, expected):
        """Values by the kind of their notice, which may come in any order."""
        told = [await self.patiently(self.link.notice()) for _ in expected]
        for notice in told:
            self.assertEqual(notice.values, notice.values | expected[notice.kind], told)

    async def test_carries_a_call_and_tells_of_it(self):
        command = self.link.command
        names = ["anna maria", 'b"r\\uno, (2)', "#tag", "ümit \udcff"]
        phones = []
        for name in names:
            phone = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
            self.addCleanup(phone.close)
            phone.bind((IP, 0))
            port, ip = (await command("new", "rtp_stream", name, IP, IP,
                                      str(phone.getsockname()[1]), "PCMU")).split()
            phone.connect((ip, int(port)))
            phones.append(phone)
        listed = await command("list", "streams")
        for name in names:
            self.assertIn("(" + re.sub(r"([,()])", r"\\\1", name) + ",0,127.", listed)
        await command("new", "conference", "room")
        for name in names:
            await command("join", "room", name)
        file = os.path.basename(await command("recording", "start", names[0], "my talk", "pcap"))

        for sequence in range(10):  # 200 ms of a loud square wave, then a key
            phones[0].send(struct.pack("!BBHII", 0x80, 0, sequence, 160 * sequence, 7) +
                           (b"\x80" * 4 + b"\x00" * 4) * 20)
        phones[0].send(struct.pack("!BBHII", 0x80, 229, 10, 1600, 7) + bytes((5, 10, 3, 32)))
        phones[0].send(struct.pack("!BBHII", 0x80, 101, 11, 1600, 7) + bytes((5, 138, 3, 32)))
        speaker = {"stream": names[0]}
        await self.expect_notices({"REC_STARTED": speaker | {"file": file},
                                   "DTMF_START": speaker | {"event": "5", "volume": "10"},
                                   "DTMF_END": speaker | {"event": "5", "duration": "800"}})
        for phone in phones[1:]:
            phone.settimeout(15)
            while set(phone.recv(2000)[12:]) <= {0xFF, 0x7F}:  # silence
                pass
        await command("new", "dtmf_stream", "a key", "5", "100", "101")
        await command("join", "room", "a key")
        await self.expect_notices({"TIMEOUT": {"stream": "a key"}})
        self.assertRegex(await command("delete", "stream", names[0]), r"^incoming_packets=1\d ")
        await self.expect_notices({"REC_FINISHED": speaker | {"file": file}})

    async def test_matches_replies_of_many_tasks_and_raises_errors(self):
        async def life(number):
            name = f"bridge {number}"
            await self.link.command("new", "vocalink", name)
            with self.assertRaises(vocalink.CommandError) as refused:
                await self.link.command("join", name, f"stream {number}")
            self.assertEqual(refused.exception.reply, "ERROR can't find stream")
            return await self.link.command("delete", "bridge", name)

        self.assertEqual(await asyncio.gather(*map(life, range(300))), [""] * 300)
        abandoned = asyncio.create_task(self.link.command("list", "streams"))
        await asyncio.sleep(0)
        abandoned.cancel()
        self.assertEqual(await self.link.command("recover"), "RECOVER_OK")
        with self.assertRaises(vocalink.CommandError) as refused:
            await self.link.command("set", "stream", "anna", "encryption", "secret", "secret")
        self.assertNotIn("secret", str(refused.exception))
        with self.assertRaises(vocalink.CommandError) as refused:
            await self.link.command("nonsense")
        self.assertEqual(refused.exception.kind, "COMMAND_ERROR")
        for word in ("", "two\nlines"):
            with self.assertRaises(ValueError):
                await self.link.command("new", "vocalink", word)

    async def test_counts_notices_that_nobody_takes(self):
        link = await vocalink.connect(self.path, most_notices=3)
        self.addAsyncCleanup(link.close)
        for number in range(8):
            await link.command("new", "conference", f"room {number}")
            await link.command("new", "dtmf_stream", f"key {number}", "5", "20", "101")
            await link.command("join", f"room {number}", f"key {number}")
        while await link.command("list", "streams"):
            await asyncio.sleep(0.02)
        told = [await self.patiently(link.notice()) for _ in range(4)]
        self.assertEqual([notice.kind for notice in told], ["TIMEOUT"] * 3 + ["NOTICES"])
        self.assertEqual(told[3].values, {"count": "5"})

    async def test_tells_of_a_lost_daemon_and_finds_the_next(self):
        sessions = []

        async def session(link):
            sessions.append(link)
            await link.command("new", "vocalink", "room")  # not there any more
            if len(sessions) == 1:
                self.end_daemon(signal.SIGKILL)
                self.start_daemon()
                async for _ in link.notices():
                    pass
            return "done"

        kept = vocalink.keep_connected(self.path, session)
        self.assertEqual(await self.patiently(kept), "done")
        self.assertEqual(len(sessions), 2)
        for lost in (self.link.notice(), self.link.command("recover"), sessions[1].notice()):
            with self.assertRaises(vocalink.ConnectionLost):
                await self.patiently(lost)

    async def test_example_spreads_calls_and_tells_which_are_lost(self):
        first, first_path = self.daemon, self.path
        self.addCleanup(first.kill)
        self.path += "2"
        self.start_daemon()
        placement = await asyncio.create_subprocess_exec(
            sys.executable, HOME.parent.parent / "examples/placement.py", f"{first_path}={IP}",
            f"{self.path}=127.0.77.2", stdin=subprocess.PIPE, stdout=subprocess.PIPE,
            env=os.environ | {"PYTHONPATH": str(HOME)})

        async def answer():
            return (await self.patiently(placement.stdout.readline())).decode().rstrip("\n")

        async def begin(name):
            placement.stdin.write(f"call {name} {IP}:9 {IP}:9 PCMU\n".encode())
            said = await answer()
            self.assertRegex(said, rf"^{name} at (127\.[\d.]+):\d+ and \1:\d+$")
            return said.split()[2].partition(":")[0]

        self.assertEqual({await answer(), await answer()},
                         {f"{path} is here" for path in (first_path, self.path)})
        places = {await begin(name): name for name in ("a", "b")}
        self.assertEqual(set(places), {IP, "127.0.77.2"})
        first.kill()
        first.wait()
        self.assertEqual(await answer(), f"lost {places[IP]}")
        self.assertEqual(await begin("c"), "127.0.77.2")
        placement.stdin.write(b"end c\n")
        self.assertEqual(await answer(), "c ended")
        placement.stdin.close()
        self.assertEqual(await self.patiently(placement.wait()), 0)

    def test_has_the_version_of_the_daemon(self):
        said = subprocess.run([os.environ["VOCALINK"], "--version"], capture_output=True, text=True,
                              check=True).stdout.split()[1]
        self.assertIn(f'\nversion = "{said}"\n', (HOME / "pyproject.toml").read_text())


if __name__ == "__main__":
    unittest.main()
