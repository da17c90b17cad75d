// SPDX-License-Identifier: GPL-3.0-or-later
// Digits spoken as telephone events: on the wire, in a mix, and as the far side reports them.
#include "system_test.hpp"

namespace vocalink::system_tests {

class digit_test : public system_test {
  protected:
    /** Has a digit spoken in the bridge named room. */
    void speak(const std::string& digit_duration_type) {
        expect_reply("new dtmf_stream d " + digit_duration_type, "SUCCESS");
        expect_reply("join room d", "SUCCESS");
    }

    /** Takes what arrives, between silence, of an event that is extended by longer packets after
     *  its first, which has the duration first_units. */
    static void expect_event(leg& party, int payload_type, std::uint8_t event, int longer,
                             int first_number, std::uint32_t timestamp, int first_units = 0) {
        for (int i = 0; i < longer + 4; ++i) {
            bytes packet;
            do {
                packet = party.phone.receive().value();
            } while (std::count(packet.begin(), packet.end(), 0xFF) >= 160);
            const int units = i == 0 ? first_units : 160 * (std::min(i, longer) + 1);
            const bytes payload{event, std::uint8_t(i > longer ? 0x80 | 10 : 10),
                                std::uint8_t(units >> 8), std::uint8_t(units)};
            EXPECT_EQ(packet,
                      harness::rtp_packet_bytes(payload_type, first_number + i, timestamp,
                                                harness::parse_rtp(packet).ssrc, payload, i == 0));
        }
    }

    void expect_end(int packets) {
        EXPECT_EQ(control->notice(), "TIMEOUT STREAM d incoming_packets=" +
                                         std::to_string(packets) + " outgoing_packets=0");
    }
};

TEST_F(digit_test, partner_gets_whole_events_numbered_for_it) {
    start();
    auto legs = new_call({"PCMU"});
    speak("7 100 101");
    EXPECT_TRUE(control->command("list streams").ends_with("),(FIXME)"));
    expect_event(legs[0], 101, 7, 3, 1, 960);
    expect_end(7);
    speak("# 29 228"); // 100 in its low seven bits
    expect_event(legs[0], 100, 11, 0, 8, 1920);
    expect_end(4);
    speak("* 60 96"); // not taken for an event, so it comes as it was made
    expect_event(legs[0], 96, 10, 2, 1, 0, 160);
    expect_end(6);
    speak("12 0 103");
    expect_event(legs[0], 103, 0, 0, 12, 2880);
    expect_end(4);
    speak("A -1 101");
    expect_event(legs[0], 101, 0, 0, 16, 3840);
    EXPECT_EQ(occurrences(daemon->log(), "\n-- stream(d) Invalid DTMF digit string 12\n"), 1);
    EXPECT_EQ(occurrences(daemon->log(), "\n-- stream(d) Invalid DTMF digit A\n"), 1);
}

TEST_F(digit_test, mix_passes_events_to_every_member_and_the_far_side_reports_them) {
    start();
    leg far = new_leg("far", "PCMU");
    expect_reply("new vocalink elsewhere", "SUCCESS");
    expect_reply("join elsewhere far", "SUCCESS");
    auto legs = new_call({"PCMU", "G711A"});
    expect_reply(new_stream("trunk", "PCMU", far.port), "SUCCESS 6006 " + local_ip);
    expect_reply("join room trunk", "SUCCESS");
    for (const std::string digit : {"5", "5", "9"}) {
        speak(digit + " 100 101");
        EXPECT_EQ(control->notice(), "DTMF_START STREAM far EVENT " + digit + " VOLUME 10");
        EXPECT_EQ(control->notice(),
                  "DTMF_END STREAM far EVENT " + digit + " VOLUME 10 DURATION 640");
        expect_end(7);
    }
    expect_event(legs[0], 101, 5, 3, 1, 960);
    expect_event(legs[0], 101, 5, 3, 8, 1920);
}

} // namespace vocalink::system_tests
