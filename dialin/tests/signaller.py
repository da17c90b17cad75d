# SPDX-License-Identifier: GPL-3.0-or-later
# A SIP user agent of few words, for requests that no telephone would send.
import random
import re
import socket

from exchange import LOOPBACK, PATIENCE_S


def description(audio="0 101", port=4000, ip=LOOPBACK, attributes=(), version=1, media=None):
    """A session description with one audio stream, or with the lines of `media`."""
    lines = ["v=0", f"o=a 1 {version} IN IP4 {LOOPBACK}", "s=-", f"c=IN IP4 {ip}", "t=0 0"]
    lines += media or [f"m=audio {port} RTP/AVP {audio}"]
    if "101" in audio.split() and not media:
        lines.append("a=rtpmap:101 telephone-event/8000")
    return "".join(line + "\r\n" for line in [*lines, *attributes])


def mixed(*parts):
    """A multipart/mixed body, boundary "b", of parts with their headers."""
    return "".join(f"--b\r\n{part}\r\n" for part in parts) + "--b--\r\n"


class Response:
    def __init__(self, text):
        head, _, self.body = text.partition("\r\n\r\n")
        self.first, _, self.headers = head.partition("\r\n")
        self.method, second = self.first.split()[:2]
        self.status = int(second) if self.method == "SIP/2.0" else 0

    def header(self, name):
        found = re.search(rf"^{name}:\s*(.*?)\r?$", self.headers, re.M | re.I)
        return found and found.group(1)

    def media(self):
        """The lines of the description that say what the call gets."""
        return [line for line in self.body.splitlines() if line[:2] in ("m=", "a=")]


class Signaller:
    """One dialog over UDP; its socket is closed by the test."""

    def __init__(self, test, port=None):
        self.socket = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        test.addCleanup(self.socket.close)
        self.socket.bind((LOOPBACK, 0))
        self.port = self.socket.getsockname()[1]
        self.server = (LOOPBACK, port or test.port)
        self.call = f"{random.getrandbits(48):x}"
        self.number = 0
        self.to_tag = ""
        self.branch = ""
        self.sent = b""

    def send(self, method, room="100", body="", kind="application/sdp", headers=(), number=None,
             branch=None):
        if number is None:
            self.number += 1
        self.branch = branch or f"z9hG4bK{random.getrandbits(48):x}"
        lines = [
            f"{method} sip:{room}@{LOOPBACK}:{self.server[1]} SIP/2.0",
            f"Via: SIP/2.0/UDP {LOOPBACK}:{self.port};branch={self.branch}",
            f"From: <sip:caller@{LOOPBACK}>;tag={self.call}",
            f"To: <sip:room@{LOOPBACK}>{self.to_tag}", f"Call-ID: {self.call}",
            f"CSeq: {self.number} {method}", "Max-Forwards: 70",
            f"Contact: <sip:caller@{LOOPBACK}:{self.port}>", *headers,
            *([f"Content-Type: {kind}"] if body else []), f"Content-Length: {len(body)}"
        ]
        self.sent = ("".join(line + "\r\n" for line in lines) + "\r\n" + body).encode()
        self.socket.sendto(self.sent, self.server)

    def receive(self):
        """The next message but provisional responses."""
        while True:
            response = Response(self.wait_for_datagram().decode())
            if response.status and response.status < 200:
                continue
            tag = re.search(r";tag=\S+", response.header("To") or "")
            if tag and response.status // 100 == 2:
                self.to_tag = tag.group()
            return response

    def wait_for_datagram(self):
        self.socket.settimeout(1)
        for _ in range(PATIENCE_S):
            try:
                return self.socket.recv(65536)
            except TimeoutError:
                self.socket.sendto(self.sent, self.server)  # it may have been lost
        raise AssertionError(f"no message within {PATIENCE_S} s after {self.sent}")

    def ask(self, method, **arguments):
        self.send(method, **arguments)
        return self.receive()

    def invite(self, **arguments):
        """INVITE, final response and ACK."""
        response = self.ask("INVITE", **{"body": description(), **arguments})
        branch = None if response.status < 300 else self.branch
        self.send("ACK", number=self.number, branch=branch)
        return response


def dial(test, status=200, **arguments):
    """A new caller, answered with a status; the whole is in `answer`."""
    caller = Signaller(test)
    caller.answer = caller.invite(**arguments)
    test.assertEqual(caller.answer.status, status, arguments)
    return caller
