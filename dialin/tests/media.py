# SPDX-License-Identifier: GPL-3.0-or-later
# A caller's voice and ear: sends a sine as RTP, keeps what comes, and tells tones apart.
import audioop
import math
import socket
import struct
import threading
import time
import wave

from exchange import LOOPBACK, until

RATE = 8000
FRAME_S = 0.02
FRAME = int(RATE * FRAME_S)
LOUD = 300  # amplitude of a tone that is there, of 32768


def sine(frequency, seconds, amplitude=6000):
    return b"".join(
        struct.pack("<h", int(amplitude * math.sin(2 * math.pi * frequency * n / RATE)))
        for n in range(int(seconds * RATE)))


def write_wave(path, frequency, seconds):
    with wave.open(str(path), "wb") as file:
        file.setparams((1, 2, RATE, 0, "NONE", ""))
        file.writeframes(sine(frequency, seconds))


def read_wave(path):
    """The samples of a file that may still be written to: its header may not know their number."""
    return path.read_bytes()[44:]


def amplitude(samples, frequency):
    """Of one frequency in 16-bit samples (Goertzel), over whole periods of 10 Hz."""
    values = struct.unpack(f"<{len(samples) // 2}h", samples)
    values = values[:len(values) - len(values) % (RATE // 10)]
    if not values:
        return 0
    factor = 2 * math.cos(2 * math.pi * frequency / RATE)
    before = last = 0.0
    for value in values:
        before, last = last, value + factor * last - before
    power = before * before + last * last - factor * before * last
    return 2 * math.sqrt(max(power, 0)) / len(values)


def hears(samples, frequency):
    return amplitude(samples[-RATE:], frequency) > LOUD  # the last half second


def halves(samples):
    """Its half seconds."""
    return [samples[at:at + RATE] for at in range(0, len(samples) - RATE, RATE)]


def beeps(samples, frequency):
    """How many tones of a frequency there are, with pauses of at least 0.2 s between them."""
    block = RATE // 10 * 2
    loud = [amplitude(samples[at:at + block], frequency) > LOUD
            for at in range(0, len(samples) - block, block)]
    return sum(now and not before for before, now in zip([False, *loud], loud))


class Voice:
    """An RTP party in PCMU on a socket of its own, with a thread that ends with the test."""

    def __init__(self, test, frequency=0):
        self.socket = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.socket.bind((LOOPBACK, 0))
        self.socket.settimeout(FRAME_S / 4)
        self.port = self.socket.getsockname()[1]
        self.frame = audioop.lin2ulaw(sine(frequency, 1) if frequency else bytes(2 * RATE), 2)
        self.far_end = None
        self.heard = b""
        self.number = 0
        self.keys = []  # packets of telephone events to send
        self.key_began = 0
        self.running = True
        self.thread = threading.Thread(target=self.run)
        self.thread.start()
        test.addCleanup(self.stop)

    def stop(self):
        self.running = False
        self.thread.join()
        self.socket.close()

    def talk_to(self, answer):
        """Begins to send to the audio port of a session description."""
        self.far_end = (LOOPBACK, int(answer.media()[0].split()[1]))

    def run(self):
        due = time.monotonic()
        while self.running:
            try:
                self.take(self.socket.recv(2048))
            except (TimeoutError, ConnectionError):
                pass
            if self.far_end and time.monotonic() >= due:
                due = max(due + FRAME_S, time.monotonic() - 0.2)
                self.send_frame()

    def take(self, packet):
        self.heard += audioop.ulaw2lin(packet[12:], 2) if packet[1] & 127 == 0 else b""

    def send_frame(self):
        self.number += 1
        if self.keys:
            event, step = self.keys.pop(0)
            if step == 0:
                self.key_began = self.number * FRAME
            stamp, length = self.key_began, FRAME * min(step + 1, 3)
            body = struct.pack("!BBH", event, 10 | (128 if step >= 2 else 0), length)
            kind = 101 | (128 if step == 0 else 0)
        else:
            stamp, kind = self.number * FRAME, 0
            at = stamp % RATE
            body = self.frame[at:at + FRAME]
        header = struct.pack("!BBHII", 128, kind, self.number & 0xffff, stamp, id(self) & 0xffff)
        self.socket.sendto(header + body, self.far_end)

    def press(self, keys):
        """Sends telephone events of 60 ms (RFC 4733), and waits until they are out."""
        for key in keys:
            self.keys += [("0123456789*#".index(key), step) for step in range(5)]
        until(lambda: not self.keys, "keys sent")

    def listen(self, seconds):
        """What came within a time from now on."""
        begin = len(self.heard)
        time.sleep(seconds)
        return self.heard[begin:]


class Mirror(Voice):
    """Sends what comes back, whatever its codec: who talks to it hears himself."""

    def __init__(self, test):
        self.kinds = set()  # payload type and bytes of the packets that came
        super().__init__(test)

    def take(self, packet):
        self.kinds.add((packet[1] & 127, len(packet) - 12))
        if self.far_end:
            self.socket.sendto(packet, self.far_end)

    def send_frame(self):
        """It has nothing to say of its own."""
