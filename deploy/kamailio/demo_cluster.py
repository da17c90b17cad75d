# SPDX-License-Identifier: GPL-3.0-or-later
# The cluster's demonstration: starts it, calls it, kills, restarts and drains nodes, and tells who
# was answered where and who heard whom. Runs in a network namespace; scripts/demo-cluster makes it.
import audioop
import os
import pathlib
import selectors
import signal
import socket
import subprocess
import sys
import tempfile
import textwrap
import time

ROOT = pathlib.Path(__file__).resolve().parents[2]
BUILD = ROOT / "build/release"
os.environ.update(VOCALINK=str(BUILD / "src/vocalink"),
                  VOCALINK_DIALIN=str(BUILD / "dialin/vocalink-dialin"))
sys.path.insert(0, str(ROOT / "dialin/tests"))
sys.dont_write_bytecode = True

from exchange import Process, until  # noqa: E402
from media import FRAME, FRAME_S, hears, sine  # noqa: E402

PROXY = "127.0.0.20"
CALLERS = "127.0.0.10"
NODES = {f"127.0.0.2{number}": f"node {number}" for number in (1, 2, 3)}
VOICES = {440: "a", 780: "b"}  # the two callers of a room, by what they sing, in Hz
TALK_S = 3


class Cluster:
    def __init__(self, folder):
        self.folder = folder
        self.running = {}
        for address in NODES:
            self.start_node(address)
        (folder / "nodes.list").write_text("".join(f"1 sip:{each}:5060\n" for each in NODES))
        self.control = f"unix:{folder}/kamailio.ctl"
        self.proxy = Process(
            ["kamailio", "-DD", "-E", "-f", ROOT / "deploy/kamailio/kamailio.cfg", "-Y", folder,
             "-P", folder / "kamailio.pid", "-A", f"LISTEN=udp:{PROXY}:5060",
             "-A", f'NODES="{folder}/nodes.list"', "-A", f'CONTROL="{self.control}"'],
            folder / "kamailio.log")
        for address in NODES:
            self.wait_for_state(address, "AP")

    def start_node(self, address):
        control = self.folder / f"{address}.sock"
        daemon = Process([os.environ["VOCALINK"], "-s", control, "-a", self.folder, "-l",
                          self.folder], self.folder / f"{address}.daemon.log")
        until(control.exists, "control socket")
        front = Process([os.environ["VOCALINK_DIALIN"], "-s", control, "-b", address, "--sounds",
                         ROOT / "dialin/sounds"], self.folder / f"{address}.dialin.log")
        front.wait_for("connected to")
        self.running[address] = (front, daemon)

    def kill_node(self, address):
        for process in self.running.pop(address):
            process.end(signal.SIGKILL)
        (self.folder / f"{address}.sock").unlink()
        (self.folder / f"{address}.dialin.log").unlink()

    def kamcmd(self, *words):
        return subprocess.run(["kamcmd", "-s", self.control, *words], capture_output=True,
                              text=True, timeout=10).stdout

    def wait_for_state(self, address, flags):
        """AP is active and probed, IP out of service; X instead of P is not probed."""
        def has_it():
            words = self.kamcmd("dispatcher.list").split()
            at = [n for n, word in enumerate(words) if word == f"sip:{address}:5060"]
            return at and words[words.index("FLAGS:", at[0]) + 1] == flags
        until(has_it, f"{address} to be {flags}")

    def end(self):
        self.proxy.end(signal.SIGTERM)
        for front, daemon in self.running.values():
            front.end(signal.SIGTERM)
            daemon.end()


class Party:
    """One caller's media; SIPp does the signalling."""

    def __init__(self, room, voice):
        self.room, self.voice = room, voice
        self.socket = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.socket.bind((CALLERS, 0))
        self.port = self.socket.getsockname()[1]
        self.speech = audioop.lin2ulaw(sine(voice, 1), 2)
        self.node = None
        self.far_end = None
        self.heard = b""

    def others(self):
        samples = audioop.ulaw2lin(self.heard[-8000:], 2)
        return [voice for voice in VOICES if hears(samples, voice)]


def talk(parties, seconds):
    """Everybody speaks and listens for a time."""
    with selectors.DefaultSelector() as ready:
        for party in parties:
            party.heard = b""
            ready.register(party.socket, selectors.EVENT_READ, party)
        began, number = time.monotonic(), 0
        while number * FRAME_S < seconds:
            for key, _ in ready.select(max(0, began + number * FRAME_S - time.monotonic())):
                key.data.heard += key.data.socket.recv(2048)[12:]
            if time.monotonic() < began + number * FRAME_S:
                continue
            at = number * FRAME % 8000
            header = b"\x80\x00" + (number & 0xffff).to_bytes(2, "big") + \
                (number * FRAME).to_bytes(4, "big") + b"cluster."[:4]
            for party in parties:
                party.socket.sendto(header + party.speech[at:at + FRAME], party.far_end)
            number += 1


def call(folder, rooms, callers=2):
    """Has SIPp call each room; returns the answered parties and SIPp, which keeps the calls."""
    parties = [Party(room, voice) for voice in list(VOICES)[:callers] for room in rooms]
    name = f"calls-{len(list(folder.iterdir()))}"
    (folder / name).write_text(
        "SEQUENTIAL\n" + "".join(f"{party.room};{party.port}\n" for party in parties))
    log = folder / f"{name}.answers"
    sipp = Process(["sipp", "-sf", ROOT / "deploy/kamailio/caller.xml", "-inf", folder / name, "-m",
                    len(parties), "-r", 20, "-i", CALLERS, "-nostdin", "-timeout", "100s",
                    "-trace_logs", "-log_file", log, f"{PROXY}:5060"], folder / f"{name}.log")
    until(lambda: log.exists() and log.read_text().count("answered") == len(parties),
          f"{len(parties)} answers")
    by_port = {str(party.port): party for party in parties}
    for line in log.read_text().splitlines():
        _, _, port, ip, audio = line.split()[-5:]
        by_port[port].node, by_port[port].far_end = ip, (ip, int(audio))
    return parties, sipp


def who_heard_whom(parties):
    """The rooms of one node, wrapped. a<b: a heard b."""
    heard = {}
    for party in parties:
        others = "".join(VOICES[voice] for voice in party.others()) or "nobody"
        heard.setdefault(party.room, []).append(f"{VOICES[party.voice]}<{others}")
    text = ", ".join(" ".join([room, *each]) for room, each in heard.items())
    return textwrap.indent(textwrap.fill(text, 87), " " * 9)


def report(title, parties):
    """Prints a table by node; true when each heard the other of its room and nobody else."""
    talk(parties, TALK_S)
    print(f"\n{title}\n{'':8} rooms  callers  hear each other (a<b: a heard b)")
    for address, name in NODES.items():
        here = [party for party in parties if party.node == address]
        good = [party for party in here if party.others() == [v for v in VOICES
                                                              if v != party.voice]]
        rooms = len({party.room for party in here})
        print(f"{name:8} {rooms:5}  {len(here):7}  {len(good):15}")
        if here:
            print(who_heard_whom(here))
    one_node = all(len({p.node for p in parties if p.room == party.room}) == 1
                   for party in parties)
    return one_node and all(len(party.others()) == 1 and party.voice not in party.others()
                            for party in parties)


def demonstrate(folder, cluster, phones):
    rooms = [f"room{number}" for number in range(30)]
    first, sipp = call(folder, rooms)
    phones.append(sipp)
    done = [report("30 rooms, two callers each", first)]
    where = {party.room: party.node for party in first}
    dead, drained = "127.0.0.22", "127.0.0.21"

    cluster.kill_node(dead)
    moved = [room for room in rooms if where[room] == dead]
    second, sipp = call(folder, moved)
    phones.append(sipp)
    done.append(report(f"{NODES[dead]} is killed, its {len(moved)} rooms are called again", second))
    done.append(all(party.node != dead for party in second))

    cluster.wait_for_state(dead, "IP")
    print(f"\n{NODES[dead]} does not answer OPTIONS: it is out", end="")
    cluster.start_node(dead)
    cluster.wait_for_state(dead, "AP")
    print("; started again, it answers: it is in")
    fresh = [f"later{number}" for number in range(30)]
    third, sipp = call(folder, fresh)
    phones.append(sipp)
    done.append(report(f"{NODES[dead]} is back: 30 new rooms", third))
    done.append(any(party.node == dead for party in third))
    escaped = moved[0].replace("r", "%72")
    late, sipp = call(folder, [escaped], callers=1)
    phones.append(sipp)
    done.append(late[0].node == next(p.node for p in second if p.room == moved[0]))
    print(f"\none more caller of {escaped}, and {moved[0]} had moved: {NODES[late[0].node]}, "
          "where its callers are")

    cluster.kamcmd("dispatcher.set_state", "dp", "1", f"sip:{drained}:5060")
    kept = next(room for room in rooms if where[room] == drained)
    old, sipp = call(folder, [kept], callers=1)
    phones.append(sipp)
    last, sipp = call(folder, [f"last{number}" for number in range(10)], callers=1)
    phones.append(sipp)
    new_there = sum(party.node == drained for party in last)
    print(f"{NODES[drained]} is drained: a caller of {kept}, in use there, comes to "
          f"{NODES[old[0].node]}; of 10 new rooms {new_there} come there")
    done += [old[0].node == drained, new_there == 0]
    return done


def main():
    with tempfile.TemporaryDirectory(prefix="cluster-") as name:
        folder = pathlib.Path(name)
        cluster, phones = Cluster(folder), []
        try:
            done = demonstrate(folder, cluster, phones)
        finally:
            for phone in phones:
                phone.end(signal.SIGKILL)
            cluster.end()
    if not all(done):
        sys.exit(f"demo-cluster: FAILED: {done}")
    print("\ndemo-cluster: everybody heard whom he should")


main()
