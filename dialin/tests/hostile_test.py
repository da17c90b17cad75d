# SPDX-License-Identifier: GPL-3.0-or-later
# Whatever comes on the SIP port, the front end serves the next caller and its log stays short.
import pathlib
import random
import re
import socket
import unittest

from exchange import LOOPBACK, ExchangeTest, until
from signaller import Signaller, description


def torture_messages():
    text = (pathlib.Path(__file__).parent / "torture.txt").read_text()
    text = re.sub(r"<(\d+)\*(.)>", lambda found: found[2] * int(found[1]), text)
    for message in re.split(r"^%%.*\n", text, flags=re.M)[1:]:
        raw = message.replace("\n", "\r\n").encode()
        yield re.sub(rb"<([0-9a-f]{2})>", lambda found: bytes.fromhex(found[1].decode()), raw)


class Hostile(ExchangeTest):
    options = ("-o", "metrics=metrics")

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

    def test_messages_of_rfc_4475(self):
        udp = Signaller(self).socket
        for message in torture_messages():
            udp.sendto(message, (LOOPBACK, self.port))
            self.connect().sendall(message.replace(b"/UDP", b"/TCP"))
        self.assert_serves()

    def test_garbage_and_cut_and_changed_requests(self):
        chance = random.Random(4475)
        udp = Signaller(self).socket
        whole = next(torture_messages())
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
        for _ in range(900):
            self.connect().sendall(b"INVITE sip:100@127.0.0.1 SIP/2.0\r\nVia: SIP/2.0/T")
        endless = self.connect()
        with self.assertRaises(OSError):
            endless.sendall(b"INVITE sip:100@127.0.0.1 SIP/2.0\r\n")
            for number in range(3000):
                endless.sendall(b"X-%d: %s\r\n" % (number, b"a" * 1000))
        self.assert_serves()


if __name__ == "__main__":
    unittest.main()
