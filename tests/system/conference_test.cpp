// SPDX-License-Identifier: GPL-3.0-or-later
// Conferences as telephones hear them: every codec, numbers without gaps, keys, routing, files.
#include "system_test.hpp"

namespace vocalink::system_tests {

class conference_test : public running_daemon_test {
  protected:
    /** Creates a conference of that name and has the streams join it. */
    void new_conference(const std::string& name, const std::vector<std::string>& members) {
        expect_reply("new conference " + name, "SUCCESS");
        for (const std::string& member : members) {
            expect_reply("join " + name + " " + member, "SUCCESS");
        }
    }

    /** Whether the next packet that the party gets is silent. */
    static bool hears_nothing(leg& party) {
        return std::ranges::count(party.next().payload, 0xFF) == 160;
    }
};

TEST_F(conference_test, a_member_is_sent_one_line_of_packets_from_join_to_join) {
    leg anna = new_leg("anna", "PCMU");
    new_conference("room", {"anna"});
    harness::rtp_view last;
    for (int number = 0; number < 20; ++number) {
        if (number == 10) {
            for (int lost = 0; lost < 2; ++lost) {
                anna.sequence += 1;
                anna.send(pcmu, bytes(160));
            }
            EXPECT_TRUE(eventually([&] {
                return control->command("stats stream anna")
                    .starts_with("SUCCESS incoming_packets=2 ");
            }));
            expect_reply("leave room anna", "SUCCESS");
            anna.forget_received();
            const auto stats = control->command("stats stream anna");
            const int sent = std::stoi(stats.substr(stats.find("outgoing_packets=") + 17));
            last.sequence = static_cast<std::uint16_t>(sent);
            last.timestamp = 160U * last.sequence;
            new_conference("other", {"anna"});
        }
        const harness::rtp_view view = anna.next();
        EXPECT_EQ(view.marker, number % 10 == 0);
        EXPECT_EQ(view.sequence, last.sequence + 1);
        EXPECT_EQ(view.timestamp, last.timestamp + 160);
        EXPECT_EQ(view.ssrc, number == 0 ? view.ssrc : last.ssrc);
        last = view;
    }
    EXPECT_NE(control->command("stats stream anna").find(" lost=1 "), std::string::npos);
}

TEST_F(conference_test, packets_of_any_length_and_type_are_heard_from_the_join) {
    leg anna = new_leg("anna", "G729");
    leg bruno = new_leg("bruno", "PCMU");
    for (int i = 0; i < 160; ++i) {
        anna.send(pcmu, speech);
    }
    new_conference("room", {"anna", "bruno"});
    for (int tick = 0; tick < 10; ++tick) {
        EXPECT_TRUE(hears_nothing(bruno)) << "from before the join";
    }
    EXPECT_TRUE(eventually([&] {
        anna.send(pcmu, bytes(speech.begin(), speech.begin() + 77));
        return !hears_nothing(bruno);
    }));
}

TEST_F(conference_test, keys_come_and_go_once_and_count_as_no_loss) {
    leg anna = new_leg("anna", "PCMU");
    leg bruno = new_leg("bruno", "PCMU");
    new_conference("room", {"anna", "bruno"});
    expect_reply("set stream anna events 96", "SUCCESS");
    const auto press = [&](int type, std::uint8_t flags, std::uint8_t duration) {
        anna.sequence += 1;
        anna.send(harness::rtp_packet_bytes(type, anna.sequence, 5000, anna.phone.port(),
                                            bytes{7, flags, 0, duration}));
    };
    anna.send(pcmu, bytes(160, 0xFF));
    for (int tick = 1; tick <= 10; ++tick) { // no marker
        press(96, 10, static_cast<std::uint8_t>(8 * tick));
        anna.send(pcmu, bytes(160, 0x10));
        EXPECT_TRUE(hears_nothing(bruno)) << "its tone is heard";
    }
    press(101, 0x80 | 10, 240);
    press(101, 0x80 | 10, 240);
    anna.send(pcmu, bytes(160, 0xFF));
    EXPECT_EQ(control->notice(), "DTMF_START STREAM anna EVENT 7 VOLUME 10");
    EXPECT_EQ(control->notice(), "DTMF_END STREAM anna EVENT 7 VOLUME 10 DURATION 240");
    EXPECT_TRUE(eventually([&] {
        return control->command("stats stream anna")
            .starts_with("SUCCESS incoming_packets=24 outgoing_packets=");
    }));
    EXPECT_NE(control->command("stats stream anna").find(" lost=0 late=0 duplicate=0 "),
              std::string::npos);

    expect_reply("new dtmf_stream dial 5# 60 101", "SUCCESS");
    expect_reply("set stream bruno events 97", "SUCCESS");
    anna.forget_received();
    bruno.forget_received();
    expect_reply("join room dial", "SUCCESS");
    EXPECT_EQ(control->notice(), "TIMEOUT STREAM dial incoming_packets=12 outgoing_packets=0");
    for (const auto& [listener, type] : {std::pair{&anna, 96}, std::pair{&bruno, 97}}) {
        std::string events;
        std::uint16_t last = 0;
        while (const auto datagram = listener->phone.receive(0ms)) {
            const harness::rtp_view view = harness::parse_rtp(*datagram);
            EXPECT_TRUE(last == 0 || view.sequence == static_cast<std::uint16_t>(last + 1));
            last = view.sequence;
            if (view.payload_type == type) {
                events += (view.marker ? "+" : "") + std::to_string(view.payload[0]) +
                          (view.payload[1] == (0x80 | 10) ? "e" : "") +
                          std::to_string(view.payload[2] << 8 | view.payload[3]) + " ";
            }
        }
        EXPECT_EQ(events, "+5160 5320 5e480 5e480 5e480 +11160 11320 11e480 11e480 11e480 ");
    }
}

TEST_F(conference_test, a_wav_stream_is_as_long_as_the_clock_says) {
    leg anna = new_leg("anna", "PCMU");
    new_conference("room", {"anna"});
    const std::string path = control->command("new wav_stream minutes talk").substr(8);
    const auto begin = std::chrono::steady_clock::now();
    expect_reply("join room minutes", "SUCCESS");
    for (int tick = 0; tick < 20; ++tick) {
        anna.next();
    }
    ::kill(daemon->pid(), SIGSTOP); // the schedule skips what this takes
    std::this_thread::sleep_for(600ms);
    anna.forget_received();
    ::kill(daemon->pid(), SIGCONT);
    expect_reply("leave room minutes", "SUCCESS");
    int caught_up = 0;
    for (; anna.phone.receive(0ms); ++caught_up) {
    }
    EXPECT_LT(caught_up, 20);
    // Outside the room the file grows no more: what it has now came before.
    EXPECT_TRUE(eventually([&] { return content(path).size() > 16'000 * 0.9; }));
    control->command("delete stream minutes");
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - begin;
    EXPECT_TRUE(control->notice().value().starts_with("REC_STARTED talk_"));
    EXPECT_TRUE(control->notice().value().starts_with("REC_FINISHED talk_"));
    constexpr std::size_t header_bytes = 44;
    const std::string wav = content(path);
    EXPECT_EQ(wav.substr(0, 4) + wav.substr(8, 8), "RIFFWAVEfmt ");
    EXPECT_NEAR(static_cast<double>(wav.size() - header_bytes) / 16000, elapsed.count(), 0.041);
}

} // namespace vocalink::system_tests
