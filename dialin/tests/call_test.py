# SPDX-License-Identifier: GPL-3.0-or-later
# Telephones meet in a room: who hears whom, by the tones they send.
import signal
import time
import unittest

from exchange import ExchangeTest, until
from media import Voice, beeps, hears
from signaller import Response, Signaller, description
from telephones import HERE, Baresip, need, sipp

ANNA, BRUNO, CARLA = 440, 780, 1130  # Hz, the callers' voices


class Rooms(ExchangeTest):
    options = ("-o", "silence=3,metrics=metrics")

    def dial(self, voice, room="100", codec="0 101"):
        """A caller of this test, in the room when this returns."""
        caller = Signaller(self)
        before = self.front_end.log().count("entered room")
        voice.talk_to(caller.invite(room=room, body=description(codec, port=voice.port)))
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
        carla = Voice(self, CARLA)
        anna.call("100", self.port)
        bruno.call("100", self.port)
        (self.folder / "callers").write_text(f"SEQUENTIAL\n100;{carla.port}\n")
        sipp(self, "-sf", HERE / "caller.xml", "-inf", "callers", "-m", 1, "-trace_logs",
             "-log_file", "sipp.calls")
        calls = self.folder / "sipp.calls"
        until(lambda: calls.exists() and "answered" in calls.read_text(), "SIPp's call")
        port = calls.read_text().split()[-1]
        carla.talk_to(Response(f"SIP/2.0 200 OK\r\n\r\nm=audio {port}"))
        self.assert_hears(carla, ANNA, BRUNO, silent=[CARLA])
        for who, others, own in [(anna, (BRUNO, CARLA), ANNA), (bruno, (ANNA, CARLA), BRUNO)]:
            until(lambda who=who, others=others: all(hears(who.heard(), each) for each in others),
                  f"{others} at {who.folder.name}")
            self.assertFalse(hears(who.heard(), own))

    def test_hold_resume_and_mute_by_a_telephone(self):
        carla = Voice(self, CARLA)
        self.dial(carla)
        anna = Baresip(self, "anna", ANNA)
        anna.call("100", self.port)
        self.assert_hears(carla, ANNA)
        anna.press("*6")
        self.assert_hears(carla, silent=[ANNA])
        anna.press("*6")
        self.assert_hears(carla, ANNA)
        anna.type("x")
        self.assert_hears(carla, silent=[ANNA])
        time.sleep(4)  # longer than a caller who is not on hold may be silent
        anna.type("X")
        self.assert_hears(carla, ANNA)

    def test_hangs_up_a_caller_who_was_killed(self):
        anna = Baresip(self, "anna", ANNA)
        anna.call("100", self.port)
        self.front_end.wait_for("entered room 100")
        anna.process.send_signal(signal.SIGKILL)
        self.front_end.wait_for("hung up: no media")
        self.front_end.wait_for("room(100): closed")

    def test_prompts_the_lonely_and_tells_of_coming_and_going(self):
        anna, bruno = Voice(self), Voice(self)
        self.dial(anna)
        until(lambda: any(anna.heard), "a prompt")
        second = self.dial(bruno)
        until(lambda: beeps(anna.heard, 600) == 1, "the tone of somebody coming")
        time.sleep(0.5)
        self.assertFalse(any(anna.listen(1)), "the prompt goes on")
        second.ask("BYE")
        until(lambda: beeps(anna.heard, 400) == 1, "the tone of somebody leaving")
        begin = len(anna.heard)
        until(lambda: any(anna.heard[begin + 16000:]), "the prompt again")

    def test_counts_for_the_asker_alone(self):
        voices = [Voice(self) for _ in range(3)]
        for voice in voices:
            self.dial(voice)
        voices[0].press("*9")
        until(lambda: beeps(voices[0].heard, 800) >= 3, "three tones")
        time.sleep(1)
        self.assertEqual([beeps(voice.heard, 800) for voice in voices], [3, 0, 0])

    def test_records_the_room_between_two_presses(self):
        anna, bruno = Voice(self, ANNA), Voice(self, BRUNO)
        self.dial(anna)
        self.dial(bruno)
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
        (self.folder / "rooms").write_text("100\nsecret 4711\n")
        self.options = (*self.options, "--rooms", "rooms")
        self.front_end.end()
        self.front_end = self.start_front_end()
        insider, outsider = Voice(self, ANNA), Voice(self, BRUNO)
        callers = []
        for voice in (insider, outsider):
            caller = Signaller(self)
            answer = caller.invite(room="secret", body=description(port=voice.port))
            voice.talk_to(answer)
            callers.append(caller)
        insider.press("123#4711#")
        self.front_end.wait_for("entered room secret")
        outsider.press("1#")
        self.assert_hears(insider, silent=[BRUNO])
        outsider.press("47#4711")
        outsider.press("0#")
        self.assertEqual(callers[1].receive().first.split()[0], "BYE")
        self.assertEqual(self.front_end.log().count("entered room secret"), 1)


class Load(ExchangeTest):
    options = ("-o", "metrics=metrics")

    def test_three_hundred_calls_at_twenty_a_second(self):
        for transport in (("u1", 300), ("t1", 40)):
            caller = sipp(self, "-sn", "uac", "-m", transport[1], "-r", 20, "-d", 2000,
                          "-t", transport[0])
            self.assertEqual(caller.process.wait(60), 0, caller.log()[-2000:])
        until(lambda: self.metric("calls") == 0 and self.metric("rooms") == 0, "all gone")
        self.assertEqual(self.metric("answered_calls_total"), 340)
        self.assertEqual(self.daemon.log().count("removed stream call:"), 340)


if __name__ == "__main__":
    need("baresip", "sipp")
    unittest.main()
