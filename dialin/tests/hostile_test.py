# SPDX-License-Identifier: GPL-3.0-or-later
# Whatever comes on the SIP port, the front end serves the next caller and its log stays short.
import pathlib
import random
import re
import resource
import select
import signal
import socket
import unittest

from exchange import LOOPBACK, ExchangeTest, until
from signaller import Signaller, description


SDP = """v=0
o=mhandley 29739 7272939 IN IP4 {0}
s=-
c=IN IP4 {0}
t={1} 0
m=audio 49217 RTP/AVP 0 12
m=video 3227 RTP/AVP 31
a=rtpmap:31 LPC"""


def torture_messages():
    """Name, status and bytes of each message in torture.txt, whose head explains them."""
    text = (pathlib.Path(__file__).parent / "torture.txt").read_text()
    text = re.sub(r"<(\d+)\*(\w+)>", lambda found: found[2] * int(found[1]), text)
    text = re.sub(r"<sdp (\S+?)(?: (\d+))?>", lambda found: SDP.format(found[1], found[2] or 0),
                  text)
    parts = re.split(r"^%%(\w+) (\d+)\n", text, flags=re.M)[1:]
    for name, status, message in zip(parts[::3], parts[1::3], parts[2::3]):
        raw = message.replace("\n", "\r\n").encode()
        raw = re.sub(rb"<([0-9a-f]{2})>", lambda found: bytes.fromhex(found[1].decode()), raw)
        yield name, int(status), raw


class Hostile(ExchangeTest):
    def connect(self):
        connection = socket.create_connection((LOOPBACK, self.port), 5)
        self.addCleanup(connection.close)
        return connection

    def assert_serves(self):
        caller = Signaller(self)
        self.assertEqual(caller.invite(body=description(), room="good").status, 200)
        self.assertEqual(caller.ask("BYE").status, 200)
        until(lambda: self.front_end.log().count("room(good): closed") ==
              self.front_end.log().count("room(good): opened"), "the call's end")

    def survive_torture(self, send):
        """A good call is served after each message, and the log says little of the others."""
        # A BYE to a host that they name would ask a name server for it: so none is said.
        self.addCleanup(self.front_end.end, signal.SIGKILL)
        for name, status, message in torture_messages():
            with self.subTest(name):
                send(message, status)
        lines = [line for line in self.front_end.log().splitlines() if "good" not in line]
        calls = sum("call from" in line for line in lines)
        self.assertLess(len(lines), 20 + 6 * calls + 3 * self.front_end.log().count("to room good"))

    def test_messages_of_rfc_4475_over_udp(self):
        udp = Signaller(self).socket

        def send(message, _):
            udp.sendto(message, (LOOPBACK, self.port))
            self.assert_serves()

        self.survive_torture(send)
        self.assertIn("to room UserB", self.front_end.log())  # inv2543, which TCP does not allow

    def test_messages_of_rfc_4475_over_tcp(self):
        def send(message, status):
            connection = self.connect()
            # The library looks at the first Via alone, which has to name the transport.
            connection.sendall(re.sub(rb"/(UDP|TLS)", b"/TCP", message, count=1))
            answer = b""
            while status and b"SIP/2.0 %d " % status not in answer:
                piece = connection.recv(65536)
                self.assertTrue(piece, answer)
                answer += piece
            self.assert_serves()
            if not status and select.select([connection], [], [], 0)[0]:
                self.assertEqual(connection.recv(65536), b"")

        self.survive_torture(send)

    def test_garbage_and_cut_and_changed_requests(self):
        chance = random.Random(4475)
        udp = Signaller(self).socket
        whole = next(torture_messages())[2]
        self.assert_serves()
        lines = self.front_end.log().count("\n")
        for _ in range(3000):
            cut = bytearray(whole[:chance.randrange(len(whole))])
            for _ in range(chance.randrange(4) if cut else 0):
                cut[chance.randrange(len(cut))] = chance.randrange(256)
            udp.sendto(chance.choice([cut, chance.randbytes(chance.randrange(1500))]),
                       (LOOPBACK, self.port))
        self.assert_serves()
        strangers = re.findall(r"^-- call\(\d+\): call from", self.front_end.log(), re.M)
        self.assertLess(self.front_end.log().count("\n") - lines, 50 + 6 * len(strangers))

    def test_half_messages_on_a_thousand_connections(self):
        for number in range(1000):
            if number % 32 == 0:
                self.assert_serves()  # the queue of the listener is short
            self.connect().sendall(b"INVITE sip:100@127.0.0.1 SIP/2.0\r\nVia: SIP/2.0/T")
        endless = self.connect()
        with self.assertRaises(OSError):
            endless.sendall(b"INVITE sip:100@127.0.0.1 SIP/2.0\r\n")
            for number in range(3000):
                endless.sendall(b"X-%d: %s\r\n" % (number, b"a" * 1000))
        self.assert_serves()


if __name__ == "__main__":
    limit = resource.getrlimit(resource.RLIMIT_NOFILE)[1]
    resource.setrlimit(resource.RLIMIT_NOFILE, (limit, limit))
    unittest.main()
