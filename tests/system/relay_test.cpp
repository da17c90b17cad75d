// SPDX-License-Identifier: GPL-3.0-or-later
// The bridge of `new vocalink`: relayed pairs, telephone events, codes, ports, and the mix.
#include "system_test.hpp"

namespace vocalink::system_tests {

using relay_test = running_daemon_test;

namespace {

/** A packet with another first byte, which holds version, padding, extension and source count. */
bytes packet_with(int first_byte, std::size_t payload_bytes) {
    bytes packet = harness::rtp_packet_bytes(pcmu, 1, 2, 3, random_bytes(payload_bytes, 4));
    packet[0] = static_cast<std::uint8_t>(first_byte);
    return packet;
}

/** A PCMU frame that repeats four samples. */
bytes frame_of(const std::array<std::uint8_t, 4>& repeated) {
    bytes frame(160);
    for (std::size_t i = 0; i < frame.size(); ++i) {
        frame[i] = repeated[i % 4];
    }
    return frame;
}

} // namespace

TEST_F(relay_test, pair_relays_whole_frames_unchanged_and_refuses_the_rest) {
    auto legs = new_call({"PCMU", "PCMU"});
    leg &a = legs[0], &b = legs[1];
    bytes sent = b.send(pcmu, speech, true);
    EXPECT_EQ(a.phone.receive(), sent);
    a.send(packet_with(0x80, 159));
    a.send(packet_with(0x80, 161));
    a.send(packet_with(0x82, 168)); // contributing sources count as payload
    a.send(packet_with(0x90, 160)); // so short of its extension word
    a.send(packet_with(0x40, 160)); // another version
    a.send(55, speech);
    a.send(55, speech);
    for (int type = 20; type < 55; ++type) { // a flood, of which a few lines tell enough
        a.send(type, speech);
    }
    a.send(bytes(11, 0x80));
    a.send(bytes{}); // not counted either
    for (const bytes& whole :
         {packet_with(0x80, 160), packet_with(0x90, 164), packet_with(0xA0, 160)}) {
        a.send(whole);
        EXPECT_EQ(b.phone.receive(), whole);
    }
    sent = a.send(8, speech); // any audio of this length will do
    EXPECT_EQ(b.phone.receive(), sent);
    expect_reply("delete stream a", "SUCCESS incoming_packets=47 outgoing_packets=1");
    expect_reply("delete stream b", "SUCCESS incoming_packets=1 outgoing_packets=4");
    const std::pair<const char*, int> lines[] = {
        {"packet size mismatch: 160 > 0\n", 1},
        {"-- stream(a): got 159 bytes of payload type 0, takes 160 of payload type 0. Further", 1},
        {"-- stream(a): suppressed log lines: 5 packets of another", 1},
        {"stream(a) got packet of unknown payload type 55\n", 1},
        {"stream(a) got packet of unknown payload type ", 20}};
    for (const auto& [line, count] : lines) {
        EXPECT_EQ(occurrences(daemon->log(), line), count) << line;
    }
}

TEST_F(relay_test, stream_answers_whoever_sent_to_it_last_and_is_read_in_a_bridge_only) {
    auto legs = new_call({"PCMU", "PCMU"});
    leg &a = legs[0], &b = legs[1];
    harness::rtp_peer moved("127.0.0.1");
    moved.send_to(local_ip, b.port, packet_with(0x80, 0)); // any packet will do
    EXPECT_TRUE(eventually([&] {
        a.send(pcmu, speech);
        return moved.receive(20ms).has_value();
    }));
    expect_reply("leave room b", "SUCCESS");
    b.send(pcmu, speech); // to a stream that nobody reads now
    EXPECT_TRUE(control->command("delete stream b").starts_with("SUCCESS incoming_packets=1 "));
}

TEST_F(relay_test, events_silence_the_tone_and_what_was_not_sent_is_not_looked_at) {
    auto legs = new_call({"PCMU", "PCMU"});
    leg &a = legs[0], &b = legs[1];
    a.send(telephone_event, {5, 10, 0}, true); // a byte short
    a.send(telephone_event, {6, 10, 0, 160}, true);
    EXPECT_EQ(control->notice(), "DTMF_START STREAM a EVENT 6 VOLUME 10");
    a.send(pcmu, speech);
    a.send(telephone_event, {6, 0x80 | 11, 4, 176});
    EXPECT_EQ(control->notice(), "DTMF_END STREAM a EVENT 6 VOLUME 11 DURATION 1200");
    const bytes sent = a.send(pcmu, random_bytes(160, 2));
    EXPECT_EQ(b.phone.receive(), sent) << "neither events nor the tone during them are relayed";
    a.send(sent); // once more
    a.sequence += 2;
    a.send(pcmu, {0xFE, 0xED, 0xFA, 0xCE}); // the mark of an in-band code
    a.send(pcmu, {0xFE});                   // the mark again, if more were looked at than was sent
    a.send(pcmu, bytes(160, 2));
    a.send(55, {255, 7});
    EXPECT_EQ(control->notice(), "CODE DETECT a 254 2 255");
    const std::string figures = control->command("stats stream a");
    EXPECT_NE(figures.find(" lost=2 late=0 duplicate=1 "), std::string::npos) << figures;
}

TEST_F(relay_test, local_ports_ascend_and_bad_addresses_are_refused_at_once) {
    const harness::rtp_peer taken(local_ip, 6002);
    expect_reply(new_stream("a", "PCMU"), "SUCCESS 6000 " + local_ip);
    expect_reply(new_stream("b", "anything"), "SUCCESS 6004 " + local_ip);
    for (const std::string addresses :
         {"192.0.2.1 127.0.0.1", "127.0.0.256 127.0.0.1", "127.0.0.1 nowhere"}) {
        expect_reply("new rtp_stream bad " + addresses + " 9 PCMU",
                     "ERROR STREAM_ERROR No available UDP ports");
    }
    expect_reply(new_stream("c", "PCMU"), "SUCCESS 6006 " + local_ip);
}

TEST_F(relay_test, own_port_range_comes_first_and_the_usual_one_when_it_is_exhausted) {
    start({"-p", "20001-20005"});
    const harness::rtp_peer taken(local_ip, 20002);
    expect_reply(new_stream("a", "PCMU"), "SUCCESS 20004 " + local_ip);
    expect_reply(new_stream("b", "PCMU"), "SUCCESS 6000 " + local_ip);
    control->command("delete stream a");
    expect_reply(new_stream("c", "PCMU"), "SUCCESS 20004 " + local_ip);
    expect_reply(new_stream("d", "PCMU"), "SUCCESS 6002 " + local_ip);
}

TEST_F(relay_test, flood_of_keys_is_told_to_the_controller_but_not_to_the_log) {
    auto legs = new_call({"PCMU"});
    constexpr int keys = 400;
    int notices = 0;
    for (int i = 0; i < keys; ++i) {
        legs[0].send(telephone_event, {5, 10, 0, 160}, true); // ends the one before
        while (notices < 2 * i + 1) {
            ASSERT_TRUE(control->notice());
            notices += 1;
        }
    }
    expect_reply("delete stream a", "SUCCESS incoming_packets=400 outgoing_packets=0");
    std::istringstream log(daemon->log());
    int logged = 0, left_out = 0;
    for (std::string line; std::getline(log, line);) {
        logged += occurrences(line, "<- connection(1): DTMF_");
        left_out +=
            line.ends_with(" notices not logged") ? std::stoi(line.substr(line.find(": ") + 2)) : 0;
    }
    EXPECT_EQ(logged + left_out, notices) << log.str();
    EXPECT_GT(left_out, 0);
}

using mix_test = running_daemon_test;

TEST_F(mix_test, three_parties_each_hear_the_exact_sum_of_the_others_every_30_ms) {
    auto legs = new_call({"PCMU", "PCMU"});
    legs.push_back(new_leg("c", "PCMU"));
    // 0 260 31100 -14972, 5372 -716 16764 -15996, -120 716 -27004 14460; worked out by hand.
    const std::array frames{frame_of({0xFF, 0xE7, 0x81, 0x12}), frame_of({0xAA, 0x55, 0x8F, 0x10}),
                            frame_of({0x70, 0xD5, 0x05, 0x93})};
    // 5252 0 -10240 -1536, -120 976 4096 -512, 5372 -456 32767 -30968, in the nearest codes.
    const std::array sums{frame_of({0xAA, 0xFF, 0x1B, 0x45}), frame_of({0x70, 0xCE, 0xAF, 0x5B}),
                          frame_of({0xAA, 0x5D, 0x80, 0x01})};
    for (int i = 0; i < 5; ++i) {
        legs[2].send(pcmu, frames[2]); // waits until its stream is read
    }
    expect_reply("join room c", "SUCCESS");
    EXPECT_TRUE(daemon->wait_for_log("-- stream (c): read 5 packets\n"));
    for (std::size_t i = 0; i < 30; ++i) {
        legs[i % 3].send(pcmu, frames[i % 3]);
    }
    for (std::size_t listener = 0; listener < legs.size(); ++listener) {
        EXPECT_TRUE(eventually(
            [&] { return std::ranges::equal(legs[listener].next().payload, sums[listener]); }));
    }
    legs[0].forget_received();
    const auto begin = std::chrono::steady_clock::now();
    for (int i = 0; i < 20; ++i) {
        ASSERT_TRUE(legs[0].phone.receive());
    }
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - begin;
    EXPECT_NEAR(elapsed.count(), 20 * 0.030 + 0.1, 0.2);
    EXPECT_TRUE(
        eventually([&] { return std::ranges::count(legs[0].next().payload, 0xFF) == 160; }));
    // What waited for the first cycle counts once.
    EXPECT_TRUE(control->command("delete stream c").starts_with("SUCCESS incoming_packets=11 "));
}

} // namespace vocalink::system_tests
