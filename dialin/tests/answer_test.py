# SPDX-License-Identifier: GPL-3.0-or-later
# What the front end answers, to the line.
import pathlib
import resource
import signal
import time
import unittest

from exchange import FRONT_END, LOOPBACK, ExchangeTest, until
from signaller import Signaller, description, dial, mixed

MIXED = "multipart/mixed;boundary=b"
SDP_PART = "Content-Type: application/sdp\r\n\r\n" + description()
MAP_PART = "Content-Type: text/map\r\nContent-Disposition: render;handling={}\r\n\r\nhere"
EVENTS = ["a=rtpmap:101 telephone-event/8000", "a=fmtp:101 0-15"]


class Answers(ExchangeTest):

    def test_takes_the_first_codec_that_it_has_on_the_payload_types_offered(self):
        ilbc = ["a=rtpmap:97 iLBC/8000", "a=fmtp:97 mode=20", "a=rtpmap:98 iLBC/8000",
                "a=rtpmap:126 telephone-event/8000"]
        opus = ["a=rtpmap:96 opus/48000/2", "a=rtpmap:111 PCMA/16000"]
        for offered, attributes, answered in [
                ("8 0 101", [], ["8 101", "a=rtpmap:8 PCMA/8000", *EVENTS, "a=ptime:20"]),
                ("3 9", [], ["9", "a=rtpmap:9 G722/8000", "a=ptime:20"]),
                ("18 0", ["a=fmtp:18 annexb=no"], ["18", "a=rtpmap:18 G729/8000", "a=ptime:20"]),
                ("97 98 126", ilbc, ["97 126", "a=rtpmap:97 iLBC/8000", "a=fmtp:97 mode=20",
                                     "a=rtpmap:126 telephone-event/8000", "a=fmtp:126 0-15",
                                     "a=ptime:20"]),
                ("98 97", ilbc, ["98", "a=rtpmap:98 iLBC/8000", "a=fmtp:98 mode=30",
                                 "a=ptime:30"]),
                ("96 111 0", opus, ["0", "a=rtpmap:0 PCMU/8000", "a=ptime:20"])]:
            with self.subTest(offered=offered):
                caller = dial(self, body=description(offered, attributes=attributes))
                media = caller.answer.media()
                self.assertRegex(media[0], rf"^m=audio [1-9]\d+ RTP/AVP {answered[0]}$")
                self.assertEqual(media[1:], [*answered[1:], "a=sendrecv"])
                self.assertEqual(caller.ask("BYE").status, 200)

    def test_refuses_what_it_cannot_serve(self):
        for status, arguments in [
                (488, {"body": description("3 4")}),
                (488, {"body": description(ip="224.0.0.1")}),
                (488, {"body": description(ip="255.255.255.255")}),
                (488, {"body": description(ip="0.1.2.3")}),
                (488, {"body": description(ip="telephone.example")}),
                (488, {"body": description(port=0)}),
                (488, {"body": description(port=70000)}),
                (488, {"body": description(media=["m=audio 4000 RTP/SAVP 0"])}),
                (488, {"body": description(media=["m=video 4000 RTP/AVP 31"])}),
                (488, {"body": "v=0\r\nnonsense"}),
                (404, {"room": "a%20b"}), (404, {"room": "x" * 65}), (404, {"room": "a%00b"}),
                (415, {"kind": "text/plain"}),
                (415, {"body": mixed(SDP_PART, MAP_PART.format("required")), "kind": MIXED}),
                (415, {"body": mixed(SDP_PART, SDP_PART), "kind": MIXED}),
                (422, {"headers": ["Supported: timer", "Session-Expires: 30"]}),
                (420, {"headers": ["Require: teleportation"]})]:
            with self.subTest(status=status, arguments=arguments):
                dial(self, status, **arguments)
        self.assertEqual(Signaller(self).ask("REGISTER").status, 405)
        self.assertEqual(self.front_end.log().count("address is not allowed"), 1)
        dial(self, room="%31%30%30")
        self.front_end.wait_for("entered room 100")
        timed = dial(self, headers=[
            "Require: 100rel", "Supported: timer", "Session-Expires: 90;refresher=uac"])
        self.assertEqual(timed.answer.header("Session-Expires"), "90;refresher=uac")
        dial(self, body=mixed(MAP_PART.format("optional"), SDP_PART), kind=MIXED)

    def test_refuses_every_other_stream_of_an_offer_in_its_place(self):
        media = ["m=video 5000 RTP/AVP 31", "m=audio 0 RTP/AVP 0", "m=audio 4002 RTP/AVP 8",
                 "m=audio 4004 RTP/AVP 0", "m=image 4006 udptl t38"]
        lines = dial(self, body=description(media=media)).answer.media()
        lines = [line for line in lines if line.startswith("m=")]
        self.assertRegex(lines.pop(2), r"^m=audio [1-9]\d+ RTP/AVP 8$")
        self.assertEqual(lines, ["m=video 0 RTP/AVP 31", "m=audio 0 RTP/AVP 0",
                                 "m=audio 0 RTP/AVP 0", "m=image 0 udptl t38"])

    def test_makes_the_offer_when_the_caller_makes_none(self):
        caller = Signaller(self)
        offer = caller.ask("INVITE")
        self.assertEqual(offer.media()[1:], ["a=rtpmap:0 PCMU/8000", *EVENTS, "a=ptime:20",
                                             "a=sendrecv"])
        caller.send("ACK", body=description("0 101"), number=caller.number)
        self.front_end.wait_for("entered room 100")
        useless = Signaller(self)
        useless.ask("INVITE")
        useless.send("ACK", body=description("8"), number=useless.number)
        self.assertEqual(useless.receive().method, "BYE")

    def test_follows_hold_resume_and_a_change_of_codec_and_address(self):
        caller = Signaller(self)
        ports, versions = [], []

        def change(method, direction, **arguments):
            request = caller.invite if method == "INVITE" else lambda **a: caller.ask("UPDATE", **a)
            response = request(body=description(**arguments))
            self.assertEqual(response.status, 200)
            self.assertEqual(response.media()[-1], f"a={direction}")
            ports.append(response.media()[0].split()[1])
            versions.append(response.body.splitlines()[1].split()[2])
            return response.media()

        change("INVITE", "sendrecv")
        change("INVITE", "recvonly", attributes=["a=sendonly"])
        change("INVITE", "recvonly", ip="0.0.0.0")
        change("UPDATE", "inactive", attributes=["a=inactive"])
        change("INVITE", "sendonly", attributes=["a=recvonly"])
        change("INVITE", "sendrecv", port=4010)
        change("INVITE", "sendrecv", port=4010)
        self.daemon.wait_for("endpoint 127.0.0.1 4010")
        self.assertEqual(len(set(ports)), 1)
        self.assertEqual(versions, ["1", "2", "2", "3", "4", "5", "5"])
        self.assertIn("a=rtpmap:8 PCMA/8000", change("INVITE", "sendrecv", audio="8 101"))
        self.daemon.wait_for("delete stream call:1:1")
        self.assertIn("a=rtpmap:9 G722/8000", change("UPDATE", "sendrecv", audio="9 101"))
        self.assertEqual(len(set(ports)), 3)
        self.assertEqual(caller.ask("UPDATE", body=description("3")).status, 488)
        self.assertEqual(caller.ask("UPDATE").body, "")
        self.assertIn("G722/8000", caller.ask("INVITE").body)
        caller.send("ACK", body=description("0 9"), number=caller.number)
        self.assertEqual(caller.ask("BYE").status, 200)
        self.front_end.wait_for("room(100): closed")
        self.daemon.wait_for("delete stream call:1:3")

    def test_sends_nothing_to_a_caller_who_begins_on_hold(self):
        caller = dial(self, body=description(ip="0.0.0.0"))
        self.assertEqual(caller.answer.media()[-1], "a=recvonly")
        self.front_end.wait_for("entered room 100")
        self.daemon.wait_for("join room:100 sound:1")
        self.assertNotIn("join room:100 call:1:1", self.daemon.log())
        self.assertEqual(caller.invite().media()[-1], "a=sendrecv")
        self.daemon.wait_for("join room:100 call:1:1")

    def test_repeats_its_answer_until_the_caller_has_it(self):
        lossy = Signaller(self)
        first = lossy.ask("INVITE", body=description())
        again = lossy.receive()
        self.assertEqual((again.status, again.body), (200, first.body))
        lossy.send("ACK", number=lossy.number)
        self.front_end.wait_for("entered room 100")
        self.assertEqual(self.front_end.log().count("answered with"), 1)


class AWorldThatFails(ExchangeTest):
    options = ("-o", "calls=2,metrics=metrics")

    def setUp(self):
        super().setUp()
        self.caller = dial(self)
        self.front_end.wait_for("entered room 100")

    def assert_hung_up(self):
        self.assertEqual(self.caller.receive().method, "BYE")

    def assert_refuses(self):
        self.assertEqual(dial(self, 503).answer.header("Retry-After"), "10")

    def serve_again(self, *options):
        self.start_daemon(*options)
        self.front_end.wait_for("connected to", 2)

    def test_says_so_when_the_daemon_is_gone_and_serves_again(self):
        self.assertEqual(self.caller.ask("OPTIONS").status, 200)
        self.daemon.end(signal.SIGKILL)
        self.assert_hung_up()
        self.assertEqual(Signaller(self).ask("OPTIONS").status, 503)
        self.assert_refuses()
        self.serve_again()
        dial(self)

    def test_waits_four_seconds_for_a_daemon_that_stands_still(self):
        self.daemon.send_signal(signal.SIGSTOP)
        self.addCleanup(self.daemon.send_signal, signal.SIGCONT)
        impatient = Signaller(self)
        impatient.send("INVITE", body=description())
        impatient.send("CANCEL", number=1, branch=impatient.branch)
        self.assertEqual({impatient.receive().status for _ in range(2)}, {200, 487})
        impatient.send("ACK", number=1, branch=impatient.branch)
        for least, most in ((3, 4.3), (0, 1)):
            began = time.monotonic()
            self.assert_refuses()
            self.assertTrue(least < time.monotonic() - began < most)
        self.daemon.send_signal(signal.SIGCONT)
        until(lambda: Signaller(self).invite().status == 200, "service again")
        self.daemon.wait_for("delete stream call:2:1")
        self.daemon.wait_for("delete stream call:3:1")
        until(lambda: self.metric("answered_calls_total") == 2, "metrics")
        self.assertEqual([self.metric(name) for name in ("daemon_up", "calls", "rooms")], [1, 2, 1])

    def test_takes_no_more_calls_than_it_was_told(self):
        dial(self)
        self.assert_refuses()

    def test_says_when_the_daemon_takes_no_more(self):
        pid = self.daemon.process.pid
        descriptors = len(list(pathlib.Path(f"/proc/{pid}/fd").iterdir()))
        resource.prlimit(pid, resource.RLIMIT_NOFILE, (descriptors, descriptors))
        self.assert_refuses()

    def test_hangs_up_a_caller_whose_leg_the_daemon_ends(self):
        self.daemon.end()
        self.assert_hung_up()
        self.serve_again("-t", 0)  # streams end at once
        # Without telephone events one command makes the leg, so that it ends after the answer.
        self.caller = dial(self, body=description("0"))
        self.assert_hung_up()

    def test_says_bye_to_all_when_it_is_told_to_end(self):
        self.front_end.send_signal(signal.SIGTERM)
        self.assert_hung_up()
        # The caller does not answer the BYE, and is not waited for longer than five seconds.
        self.assertEqual(self.front_end.process.wait(5.5), 0)


class InAHurry(ExchangeTest):
    clock = next(pathlib.Path("/usr/lib").glob("*/faketime/libfaketime.so.1"), None)
    environment = {"LD_PRELOAD": str(clock), "FAKETIME": "+0 x10"}
    options = ("--silence", "86400")

    @unittest.skipUnless(clock, "no libfaketime (Debian: faketime)")
    @unittest.skipIf(b"__sanitizer" in pathlib.Path(FRONT_END).read_bytes(), "it would stand still")
    def test_says_bye_when_a_session_refresh_is_not_answered(self):
        callers = {method: dial(self, headers=[
            "Supported: timer", "Session-Expires: 90;refresher=uas", f"Allow: ACK, BYE, {method}"])
            for method in ("INVITE", "UPDATE")}
        for method, caller in callers.items():
            numbers = {}
            while "BYE" not in numbers:
                number, name = caller.receive().header("CSeq").split()
                numbers[name] = int(number)
            self.assertEqual(set(numbers), {method, "BYE"})
            self.assertGreater(numbers["BYE"], numbers[method])


class OutsideLoopback(ExchangeTest):
    address = "0.0.0.0"

    def test_sends_no_media_to_loopback(self):
        dial(self, 488)


class NamedRooms(ExchangeTest):
    options = ("--media-same", "--accept-register", "--rooms", "rooms")

    def start_front_end(self):
        (self.folder / "rooms").write_text("# room PIN\nopen\nclosed 4711\n")
        return super().start_front_end()

    def test_knows_only_the_rooms_of_its_list_and_the_address_of_the_caller(self):
        dial(self, 404)
        dial(self, 488, body=description(ip="127.0.0.2"), room="open")
        dial(self, room="open")
        self.front_end.wait_for("entered room open")

    def test_gives_contacts_back_to_who_registers(self):
        phone = Signaller(self)
        answer = phone.ask("REGISTER", headers=["Contact: <sip:elsewhere>;expires=0"])
        self.assertEqual((answer.status, answer.header("Contact")), (
            200, f"<sip:caller@{LOOPBACK}:{phone.port}>;expires=3600"))


if __name__ == "__main__":
    unittest.main()
