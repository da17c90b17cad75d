// SPDX-License-Identifier: GPL-3.0-or-later
// Conferences: who hears whom, in which codec, and at which pace.
#include "system_test.hpp"

#include <array>
#include <set>

namespace vocalink::system_tests {

using mix_test = system_test;

namespace {

/** A PCMU frame that repeats four samples. */
bytes frame_of(const std::array<std::uint8_t, 4>& repeated) {
    bytes frame(160);
    for (std::size_t i = 0; i < frame.size(); ++i) {
        frame[i] = repeated[i % 4];
    }
    return frame;
}

const bytes silence(160, 0xFF);

/** Reads the next packet that the party gets. @return its payload */
bytes next_payload(leg& party) {
    bytes packet = party.phone.receive().value();
    packet.erase(packet.begin(), packet.begin() + harness::rtp_header_bytes);
    return packet;
}

} // namespace

TEST_F(mix_test, three_parties_each_hear_the_exact_sum_of_the_others) {
    start();
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
    std::set<std::uint32_t> sources;
    for (std::size_t listener = 0; listener < legs.size(); ++listener) {
        bytes heard;
        for (std::uint16_t number = 1; heard != sums[listener]; ++number) {
            ASSERT_LE(number, 50) << "party " << listener << " never hears both others";
            const bytes packet = legs[listener].phone.receive().value();
            const harness::rtp_view view = harness::parse_rtp(packet);
            EXPECT_EQ(view.payload_type, pcmu);
            EXPECT_EQ(view.marker, number == 1);
            EXPECT_EQ(view.sequence, number);
            EXPECT_EQ(view.timestamp, number * 160U);
            sources.insert(view.ssrc);
            heard.assign(view.payload.begin(), view.payload.end());
        }
    }
    EXPECT_EQ(sources.size(), 3U);

    legs[0].forget_received();
    ASSERT_TRUE(legs[0].phone.receive());
    const auto begin = std::chrono::steady_clock::now();
    for (int i = 0; i < 20; ++i) {
        ASSERT_TRUE(legs[0].phone.receive());
    }
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - begin;
    EXPECT_NEAR(elapsed.count(), 20 * 0.030 + 0.1, 0.2);
    wait_until_read(legs[2]);
    legs[0].forget_received();
    EXPECT_EQ(next_payload(legs[0]), silence);
    // What waited for the first cycle counts once.
    EXPECT_TRUE(control->command("delete stream c").starts_with("SUCCESS incoming_packets=14 "));
}

TEST_F(mix_test, parties_of_every_codec_hear_the_others) {
    start();
    auto legs = new_call({"PCMU", "G729", "ILBC30", "G711A", "G722"});
    EXPECT_TRUE(daemon->wait_for_log("mixing two streams of different audio types\n"));
    const bytes first = legs[2].phone.receive().value();
    EXPECT_EQ(harness::parse_rtp(first).timestamp, 240U);
    EXPECT_EQ(next_payload(legs[0]), silence);
    const bytes nobody = next_payload(legs[2]);
    EXPECT_EQ(nobody, next_payload(legs[2]));
    // The G.729 party is a second bridge, so what one of its streams encodes another decodes.
    expect_reply("new vocalink far", "SUCCESS");
    expect_reply(new_stream("trunk", "G729", legs[1].port), "SUCCESS 6010 " + local_ip);
    leg far = new_leg("far", "PCMU");
    expect_reply("join far trunk", "SUCCESS");
    expect_reply("join far far", "SUCCESS");
    const auto hears_noise = [&legs] {
        const bytes heard = next_payload(legs[0]);
        return std::any_of(heard.begin(), heard.end(),
                           [](int code) { return (code & 0x7F) < 0x30; });
    };
    EXPECT_FALSE(hears_noise());
    for (unsigned i = 0; i < 20; ++i) {
        far.send(pcmu, random_bytes(160, i));
    }
    EXPECT_TRUE(eventually(hears_noise));
    EXPECT_TRUE(eventually([&] { return next_payload(legs[2]) != nobody; }));
    for (const std::size_t i : {3U, 4U}) { // not encoded, yet no byte is left to chance
        const bytes heard = next_payload(legs[i]);
        EXPECT_EQ(heard, bytes(160, heard[0]));
        EXPECT_EQ(heard, next_payload(legs[i]));
    }
}

TEST_F(mix_test, one_left_over_gets_silence_and_two_are_relayed_whatever_their_codecs) {
    start();
    auto legs = new_call({"PCMU", "G729"});
    leg &a = legs[0], &b = legs[1];
    expect_reply("leave room b", "SUCCESS");
    const auto begin = std::chrono::steady_clock::now();
    for (int i = 0; i < 150; ++i) { // 4.5 s for the mix, which goes on, but a is drained as well
        a.send(pcmu, random_bytes(160, 1));
    }
    wait_until_read(a);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 2s);
    a.forget_received();
    EXPECT_EQ(next_payload(a), silence);

    expect_reply("join room b", "SUCCESS");
    expect_reply(new_stream("c", "G711A"), "SUCCESS 6004 " + local_ip);
    expect_reply("join room c", "SUCCESS");
    expect_reply("leave room c", "SUCCESS");
    a.forget_received();
    b.forget_received();
    bytes sent = a.send(pcmu, random_bytes(160, 3));
    sent.resize(harness::rtp_header_bytes + 20); // as long as a frame of the listener's codec
    EXPECT_EQ(b.phone.receive(), sent);
    b.send(g729, random_bytes(20, 4)); // too short to be one
    wait_until_read(b);
    EXPECT_TRUE(a.phone.receive_nothing(100ms)) << "the mix goes on";
}

} // namespace vocalink::system_tests
