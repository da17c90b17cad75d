# SPDX-License-Identifier: GPL-3.0-or-later
# Whatever comes on the SIP port, the front end serves the next caller and its log stays short.
import itertools
import pathlib
import random
import re
import resource
import select
import signal
import socket
import unittest

from exchange import LOOPBACK, PATIENCE_S, ExchangeTest, until
from signaller import Signaller, dial

RFC_4475 = pathlib.Path(__file__).parent / "rfc4475"
# What it wants of an endpoint that is no registrar, and what we do where it leaves that open.
WANTED = {
    200: "badaspec badbranch baddate escruri inv2543 longreq lwsdisp lwsstart semiuri transports "
         "trws zeromf",
    400: "baddn badinv01 clerr insuf ltgtruri lwsruri mcl01 mismatch01 mismatch02 multi01 ncl "
         "quotbal regbadct scalar02",
    404: "esc01", 405: "cparam01 cparam02 dblreq escnull mpart01 regaut01 regescrt unksm2",
    406: "sdp01", 415: "invut", 416: "novelsc unkscm", 420: "bext01", 481: "wsinv",
    501: "esc02 intmeth", 505: "badvers", None: "bcast bigcode noreason scalarlg test unreason"}
# What the SIP library makes nothing of, and what is not whole, or lacks its length, on a stream.
UNREAD = dict.fromkeys(["badinv01", "intmeth", "lwsruri"])
OTHERWISE = {b"UDP": {**UNREAD, "badvers": None},
             b"TCP": {**UNREAD, "baddn": None, "clerr": None, "inv2543": 400}}


class Hostile(ExchangeTest):
    def connect(self):
        connection = socket.create_connection((LOOPBACK, self.port), 5)
        self.addCleanup(connection.close)
        return connection

    def assert_serves(self):
        self.assertEqual(dial(self, room="good").ask("BYE").status, 200)
        until(lambda: self.front_end.log().count("room(good): closed") ==
              self.front_end.log().count("room(good): opened"), "the call's end")

    def bind_where_answers_go(self, message):
        """A socket on a loopback address of its own, with the port of the message's first Via."""
        port = re.search(rb"/UDP\s+[\w.-]+:(\d+)", message)
        udp = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.addCleanup(udp.close)
        host = ".".join(str(random.randrange(1, 255)) for _ in range(3))
        udp.bind((f"127.{host}", int(port[1]) if port else 5060))
        udp.connect((LOOPBACK, self.port))
        udp.settimeout(PATIENCE_S)
        return udp

    def test_messages_of_rfc_4475(self):
        # A BYE to a host that they name would ask a name server for it: so none is said.
        self.addCleanup(self.front_end.end, signal.SIGKILL)
        answers = {name: status for status, names in WANTED.items() for name in names.split()}
        for file, transport in itertools.product(RFC_4475.glob("*.dat"), OTHERWISE):
            with self.subTest(file.stem, transport=transport):
                wanted = {**answers, **OTHERWISE[transport]}[file.stem]
                # The library looks at the first Via alone, which has to name the transport.
                message = re.sub(rb"/(UDP|TCP|TLS)", b"/" + transport, file.read_bytes(), count=1)
                way = self.connect() if transport == b"TCP" else self.bind_where_answers_go(message)
                way.sendall(message)
                answer = b""
                while wanted and b"SIP/2.0 %d " % wanted not in answer:
                    piece = way.recv(65536)
                    self.assertTrue(piece, answer)
                    answer += piece
                self.assert_serves()
                if not wanted and select.select([way], [], [], 0)[0]:
                    self.assertEqual(way.recv(65536), b"")
        lines = [line for line in self.front_end.log().splitlines() if "good" not in line]
        calls = sum("call from" in line for line in lines)
        self.assertLess(len(lines), 20 + 6 * calls + 3 * self.front_end.log().count("to room good"))

    def test_garbage_and_cut_and_changed_requests(self):
        chance = random.Random(4475)
        udp = Signaller(self).socket
        whole = (RFC_4475 / "wsinv.dat").read_bytes()
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
