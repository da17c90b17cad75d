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

    /** Waits for the notices, in this order. */
    void expect_notices(const std::vector<std::string>& expected) {
        for (const std::string& notice : expected) {
            EXPECT_EQ(control->notice(), notice);
        }
    }

    /** Sends one packet a tick until the other hears something. */
    static bool is_heard(leg& speaker, leg& listener, int payload_type, const bytes& loud) {
        for (int tick = 0; tick < 50; ++tick) {
            speaker.send(payload_type, loud);
            const auto heard = listener.next().payload;
            if (std::ranges::count(heard, 0xFF) < std::ssize(heard)) {
                return true;
            }
        }
        return false;
    }
};

// Two legs of the daemon are each other's far end, in two conferences: digits that are played in one
// pass an encoder, the network, the playout buffer and a decoder before the other detects them.
TEST_F(conference_test, digits_survive_every_codec) {
    expect_reply("new tone_stream keys DTMF 0", "SUCCESS");
    expect_reply("new tone_stream ear DTMF ON", "SUCCESS");
    new_conference("here", {"keys"});
    new_conference("there", {"ear"});
    for (const std::string encoding : {"PCMU", "G711A", "G722", "ILBC20", "ILBC30", "G729"}) {
        const auto near = harness::port_in_reply(control->command(new_stream("near", encoding)));
        const auto far =
            harness::port_in_reply(control->command(new_stream("far", encoding, near)));
        expect_reply("set stream near endpoint " + local_ip + " " + std::to_string(far), "SUCCESS");
        expect_reply("join here near", "SUCCESS");
        expect_reply("join there far", "SUCCESS");
        const std::string digits = encoding == "G729" ? "159#" : "159#2468";
        expect_reply("play tone keys " + digits, "SUCCESS");
        for (const char digit : digits) {
            EXPECT_EQ(control->notice(), std::string("TONE STREAM ear DIGITS ") + digit)
                << encoding;
        }
        control->command("delete stream near");
        control->command("delete stream far");
    }
}

TEST_F(conference_test, a_member_is_sent_one_line_of_packets_from_join_to_join) {
    leg anna = new_leg("anna", "PCMU");
    new_conference("room", {"anna"});
    harness::rtp_view last;
    for (int number = 0; number < 20; ++number) {
        if (number == 10) {
            for (int lost = 0; lost < 2; ++lost) {
                anna.sequence += 1;
                anna.send(pcmu, bytes(160));
                anna.next();
            }
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

TEST_F(conference_test, packets_of_any_length_and_type_are_heard) {
    leg anna = new_leg("anna", "G729");
    leg bruno = new_leg("bruno", "PCMU");
    bytes loud(160);
    for (std::size_t i = 0; i < loud.size(); ++i) {
        loud[i] = i % 8 < 4 ? 0x10 : 0x90;
        anna.send(pcmu, loud);
    }
    new_conference("room", {"anna", "bruno"});
    for (int tick = 0; tick < 10; ++tick) {
        EXPECT_EQ(std::ranges::count(bruno.next().payload, 0xFF), 160) << "from before the join";
    }
    EXPECT_TRUE(is_heard(anna, bruno, pcmu, loud));
    EXPECT_TRUE(is_heard(anna, bruno, pcmu, bytes(loud.begin(), loud.begin() + 77)));
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
        EXPECT_EQ(std::ranges::count(bruno.next().payload, 0xFF), 160) << "its tone is heard";
    }
    press(101, 0x80 | 10, 240);
    press(101, 0x80 | 10, 240);
    anna.send(pcmu, bytes(160, 0xFF));
    expect_notices({"DTMF_START STREAM anna EVENT 7 VOLUME 10",
                    "DTMF_END STREAM anna EVENT 7 VOLUME 10 DURATION 240"});
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
    expect_notices({"TIMEOUT STREAM dial incoming_packets=12 outgoing_packets=0"});
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
