// SPDX-License-Identifier: GPL-3.0-or-later
// Digits spoken as telephone events to a partner.
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
     *  its first, which has the duration first_units.
     *  @param number  of the packet before, counted on */
    static void expect_event(leg& party, int payload_type, std::uint8_t event, int longer,
                             int& number, std::uint32_t timestamp, int first_units = 0) {
        for (int i = 0; i < longer + 4; ++i) {
            bytes packet;
            do { // a loop that is late adds ends to the event before
                packet = party.phone.receive().value();
                number += packet.size() == 16 ? 1 : 0;
            } while (packet.size() > 16 || (i == 0 && (packet[13] & 0x80) != 0));
            const int units = i == 0 ? first_units : 160 * (std::min(i, longer) + 1);
            const bytes payload{event, std::uint8_t(i > longer ? 0x80 | 10 : 10),
                                std::uint8_t(units >> 8), std::uint8_t(units)};
            EXPECT_EQ(packet,
                      harness::rtp_packet_bytes(payload_type, number, timestamp,
                                                harness::parse_rtp(packet).ssrc, payload, i == 0));
        }
    }

    void expect_end() {
        EXPECT_TRUE(control->notice().value().starts_with("TIMEOUT STREAM d incoming_packets="));
    }
};

TEST_F(digit_test, partner_gets_whole_events_numbered_for_it) {
    start();
    auto legs = new_call({"PCMU"});
    int number = 0;
    speak("7 100 101");
    expect_event(legs[0], 101, 7, 3, number, 960);
    expect_end();
    speak("# 29 228"); // 100 in its low seven bits
    expect_event(legs[0], 100, 11, 0, number, 1920);
    expect_end();
    speak("A -1 103"); // no digit, and no time
    expect_event(legs[0], 103, 0, 0, number, 2880);
    expect_end();
    speak("* 60 96"); // not taken for an event, so it comes as it was made
    number = 0;
    expect_event(legs[0], 96, 10, 2, number, 0, 160);
}

} // namespace vocalink::system_tests
