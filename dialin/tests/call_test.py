# SPDX-License-Identifier: GPL-3.0-or-later
# Telephones meet in a room: who hears whom, by the tones they send.
import audioop
import os
import pathlib
import signal
import time
import unittest

from exchange import LOOPBACK, ExchangeTest, free_port, until
from media import Mirror, Voice, beeps, halves, hears, sine
from signaller import description, dial
from telephones import HERE, Baresip, need, sipp

ANNA, BRUNO, CARLA = 440, 780, 1130  # Hz, the callers' voices


class Rooms(ExchangeTest):
    options = ("-o", "silence=3")

    def call(self, voice, room="100", codec="0 101", attributes=()):
        """A caller of this test, in the room or its lobby when this returns."""
        before = self.front_end.log().count("entered room")
        caller = dial(self, room=room, body=description(codec, voice.port, attributes=attributes))
        voice.talk_to(caller.answer)
        if room != "secret":
            self.front_end.wait_for("entered room", before + 1)
        return caller

    def assert_hears(self, voice, *frequencies, silent=()):
        """Waits until it hears these and none of the others."""
        def is_so():
            samples = voice.listen(0.6)
            return (all(hears(samples, each) for each in frequencies) and
                    not any(hears(samples, each) for each in silent))

        until(is_so, f"{frequencies} and not {silent}")

    def test_baresips_and_sipp_hear_each_other(self):
        anna, bruno = Baresip(self, "anna", ANNA), Baresip(self, "bruno", BRUNO, "pcma")
        (self.folder / "voice.ulaw").write_bytes(audioop.lin2ulaw(sine(CARLA, 1), 2))
        for phone in (anna, bruno):
            phone.call("100", self.port)
        carla = sipp(self, "-sf", HERE / "talker.xml", "-m", 1, "-rtp_echo")
        self.assertEqual(carla.process.wait(30), 0, carla.log()[-2000:])
        # First SIPp is heard. Then it says what it hears, so that each hears his own voice again,
        # which the room itself never gives him. The others' voices then come twice, and may cancel.
        for phone, own, other in ((anna, ANNA, BRUNO), (bruno, BRUNO, ANNA)):
            moments = [{each for each in (ANNA, BRUNO, CARLA) if hears(part, each)}
                       for part in halves(phone.heard())]
            self.assertIn({other, CARLA}, moments)
            first = next(at for at, heard in enumerate(moments) if own in heard)
            self.assertGreater(first, moments.index({other, CARLA}))
            self.assertTrue(any(own in heard and CARLA not in heard for heard in moments), moments)

    def test_every_codec_is_heard_and_hears(self):
        ilbc = ["a=rtpmap:97 iLBC/8000", "a=fmtp:97 mode=20", "a=rtpmap:121 iLBC/8000"]
        kinds = [("8", 160), ("9", 160), ("18", 20), ("97", 38), ("121", 50)]
        pairs = []
        for payload_type, _ in kinds:
            voice, mirror = Voice(self, ANNA), Mirror(self)
            self.call(voice, room=payload_type)
            self.call(mirror, room=payload_type, codec=payload_type, attributes=ilbc)
            pairs.append((voice, mirror))
        time.sleep(0.7)  # the prompt for the first of each pair is no longer in its last half second
        for (payload_type, size), (voice, mirror) in zip(kinds, pairs):
            with self.subTest(payload_type):
                # The room gives nobody his own voice: it came back from the mirror.
                until(lambda voice=voice: hears(voice.heard, ANNA), "itself")
                self.assertEqual(mirror.kinds, {(int(payload_type), size)})

    def test_mute_hold_and_resume_by_a_telephone_and_another_that_dies(self):
        carla = Voice(self, CARLA)
        self.call(carla)
        anna, bruno = Baresip(self, "anna", ANNA), Baresip(self, "bruno", BRUNO)
        for phone in (anna, bruno):
            phone.call("100", self.port)
        self.assert_hears(carla, ANNA, BRUNO)
        anna.press("*6")
        self.assert_hears(carla, BRUNO, silent=[ANNA])
        anna.press("*6")
        self.assert_hears(carla, ANNA)
        anna.type("x")
        bruno.process.send_signal(signal.SIGKILL)
        self.assert_hears(carla, silent=[ANNA, BRUNO])
        self.front_end.wait_for("call(3): hung up: no media")
        time.sleep(0.7)  # so anna has been silent for longer, but she is on hold
        anna.type("X")
        self.assert_hears(carla, ANNA)

    def test_prompts_the_lonely_and_tells_of_coming_and_going(self):
        anna, bruno = Voice(self), Voice(self)
        self.call(anna)
        until(lambda: any(anna.heard), "a prompt")
        second = self.call(bruno)
        until(lambda: beeps(anna.heard, 600) == 1, "the tone of somebody coming")
        time.sleep(0.5)
        self.assertFalse(any(anna.listen(0.5)), "the prompt goes on")
        second.ask("BYE")
        until(lambda: beeps(anna.heard, 400) == 1, "the tone of somebody leaving")
        begin = len(anna.heard)
        until(lambda: any(anna.heard[begin + 8000:]), "the prompt again")

    def test_counts_for_the_asker_alone(self):
        voices = [Voice(self) for _ in range(3)]
        for voice in voices:
            self.call(voice)
        voices[0].press("*9")
        until(lambda: beeps(voices[0].heard, 800) >= 3, "three tones")
        time.sleep(0.5)
        self.assertEqual([beeps(voice.heard, 800) for voice in voices], [3, 0, 0])

    def test_records_the_room_between_two_presses(self):
        anna, bruno = Voice(self, ANNA), Voice(self, BRUNO)
        self.call(anna)
        self.call(bruno)
        anna.press("*1")
        self.front_end.wait_for("recording to")
        until(lambda: beeps(bruno.heard, 1400) == 1, "the tone of a recording")
        time.sleep(1)
        bruno.press("*1")
        self.front_end.wait_for("recording finished")
        file = next(self.folder.glob("100_*.wav"))
        samples = file.read_bytes()[44:]
        self.assertTrue(hears(samples, ANNA) and hears(samples, BRUNO))
        self.assertGreater(len(samples), 16000)

    def test_lets_in_with_the_pin_only(self):
        (self.folder / "rooms").write_text("100\nsecret 47\n")
        self.options = (*self.options, "--rooms", "rooms")
        self.front_end.end()
        self.front_end = self.start_front_end()
        insider, outsider = Voice(self, ANNA), Voice(self, BRUNO)
        callers = [self.call(voice, room="secret") for voice in (insider, outsider)]
        insider.press("1#47#")
        self.front_end.wait_for("entered room secret")
        outsider.press("1#")
        self.assert_hears(insider, silent=[BRUNO])
        outsider.press("4#470#")
        self.assertEqual(callers[1].receive().method, "BYE")
        self.assertEqual(self.front_end.log().count("entered room secret"), 1)


class Load(ExchangeTest):
    options = ("--accept-register",)  # branchc insists

    def start_built_in_callers(self):
        """Those of SIPp but uac."""
        twin = ("-3pcc", f"{LOOPBACK}:{free_port()}", "-m", 1)
        callers = [sipp(self, "-sn", "regexp", "-m", 1), sipp(self, "-sn", "branchc", "-m", 1),
                   sipp(self, "-sn", "3pcc-C-B", *twin)]
        until(callers[-1].log, "the other side to listen")
        callers.append(sipp(self, "-sn", "3pcc-C-A", *twin))
        recordings = pathlib.Path("/usr/share/sip-tester")
        if os.geteuid() == 0 and recordings.exists():  # it sends them through a raw socket
            (self.folder / "pcap").symlink_to(recordings)
            callers.append(sipp(self, "-sn", "uac_pcap", "-m", 1))
        return callers

    def test_three_hundred_calls_at_twenty_a_second(self):
        callers = self.start_built_in_callers()
        callers += [sipp(self, "-sn", "uac", "-m", calls, "-r", 20, "-d", 2000, "-t", transport)
                    for transport, calls in (("u1", 300), ("t1", 40))]
        for caller in callers:
            self.assertEqual(caller.process.wait(60), 0, caller.log()[-2000:])
        calls = 340 + len(callers) - 2
        self.daemon.wait_for("removed stream call:", calls)
        self.assertEqual(self.front_end.log().count("answered with"), calls)
        self.assertEqual(self.front_end.end(), 0)
        if len(callers) == 7:
            self.assertIn("EVENT 1 ", self.daemon.log())  # the key that uac_pcap plays


if __name__ == "__main__":
    need("baresip", "sipp")
    unittest.main()
