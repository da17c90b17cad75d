// SPDX-License-Identifier: GPL-3.0-or-later
// Which sources an encrypted leg follows, and what it says of itself to the network.
#include "harness/rtp_peer.hpp"
#include "rtp/sap_announcer.hpp"
#include "rtp/srtp_session.hpp"

#include <gtest/gtest.h>

#include <cstring>

namespace vocalink {
namespace {

class srtp_session_test : public testing::Test {
  protected:
    static void SetUpTestSuite() { srtp_init(); }
    static void TearDownTestSuite() { srtp_shutdown(); }

    /** Sends a packet through a session or takes it from there. @param packet  is changed */
    srtp_err_status_t pass(srtp_session& session, std::string& packet) {
        int len = static_cast<int>(packet.size());
        return &session == &receiver ? session.unprotect(packet.data(), len)
                                     : session.protect(packet.data(), len);
    }
    static std::string packet_of(int sequence, std::uint32_t ssrc) {
        const auto bytes = harness::rtp_packet_bytes(0, static_cast<std::uint16_t>(sequence), 1,
                                                     ssrc, std::vector<std::uint8_t>(160));
        return {bytes.begin(), bytes.end()};
    }

    const std::array<unsigned char, srtp_key_bytes> key{1, 2, 3};
    srtp_session receiver{ssrc_any_inbound, key};
    srtp_session sender{ssrc_any_outbound, key};
};

TEST_F(srtp_session_test, forgets_the_source_unused_longest_and_never_its_own) {
    constexpr std::uint32_t own = 1, prompt = 2, others = 1'000;
    const auto send = [this](int sequence, std::uint32_t source) {
        std::string packet = packet_of(sequence, source);
        EXPECT_EQ(pass(sender, packet), srtp_err_status_ok) << source;
        EXPECT_NE(packet, packet_of(sequence, source)) << source << " went out in clear";
        return packet;
    };
    std::uint32_t own_in_packet = 0;
    std::memcpy(&own_in_packet, &packet_of(0, own)[8], sizeof own_in_packet);
    sender.keep(own_in_packet);
    const std::string before_wrap = send(65535, own), first_of_prompt = send(1, prompt);
    for (std::uint32_t source = others; source < others + 300; ++source) {
        send(9, source);
    }
    std::string after_wrap = send(0, own), packet = before_wrap;
    EXPECT_EQ(send(0, own), after_wrap) << "repeated";
    EXPECT_EQ(pass(receiver, packet), srtp_err_status_ok);
    EXPECT_EQ(pass(receiver, after_wrap), srtp_err_status_ok);
    EXPECT_EQ(after_wrap, packet_of(0, own)) << "the roll-over was forgotten";
    EXPECT_EQ(send(65535, own), before_wrap);
    send(32800, own); // long past
    EXPECT_EQ(send(1, prompt), first_of_prompt) << "its place was needed";
}

TEST_F(srtp_session_test, invented_sources_shut_out_neither_a_party_nor_its_new_source) {
    const auto understood = [this](int sequence, std::uint32_t source) {
        std::string packet = packet_of(sequence, source);
        return pass(sender, packet) == srtp_err_status_ok &&
               pass(receiver, packet) == srtp_err_status_ok &&
               packet == packet_of(sequence, source);
    };
    std::uint32_t invented = 1'000;
    for (const auto& [sequence, source] :
         {std::pair(65535, 1U), std::pair(0, 1U), std::pair(1, 1U), std::pair(2, 1U),
          std::pair(7, 2U), std::pair(3, 1U), std::pair(8, 2U)}) {
        EXPECT_TRUE(understood(sequence, source)) << sequence;
        for (int count = 0; count < 100; ++count) {
            std::string packet = packet_of(9, ++invented);
            EXPECT_EQ(pass(receiver, packet), srtp_err_status_ok);
        }
    }
    std::string packet = packet_of(2, 1);
    EXPECT_EQ(pass(receiver, packet), srtp_err_status_replay_fail);
    packet.resize(11);
    EXPECT_EQ(pass(receiver, packet), srtp_err_status_bad_param);
}

TEST_F(srtp_session_test, drops_the_state_of_a_source_that_ended) {
    const auto sent = [this](int sequence) {
        std::string packet = packet_of(sequence, 5);
        EXPECT_EQ(pass(sender, packet), srtp_err_status_ok);
        return packet;
    };
    const std::string before_wrap = sent(0);
    sent(40000);
    sent(65535);
    EXPECT_NE(sent(0), before_wrap);
    std::uint32_t source = 0;
    std::memcpy(&source, &before_wrap[8], sizeof source);
    sender.forget(source + 1);
    EXPECT_NE(sent(1), packet_of(1, 5));
    EXPECT_NE(sent(0), before_wrap);
    sender.forget(source);
    EXPECT_EQ(sent(0), before_wrap);
}

TEST(sap_sdp_text, is_exact_and_cut_to_its_size) {
    sap_description described{0xFFFFFFFF, "news, (1)", "10.0.0.1", "239.1.2.3",
                              5004,       18,          "G729",     8000};
    const std::string text = "v=0\no=vocalink 4294967295 0 IN IP4 10.0.0.1\ns=news, (1)\n"
                             "c=IN IP4 239.1.2.3\nt=3913056000 0\na=recvonly\n"
                             "m=audio 5004 RTP/AVP 18\na=rtpmap:18 G729/8000\na=type:broadcast\n";
    EXPECT_EQ(sap_sdp_text(described, 3913056000), text);
    described.name.assign(600, 'x');
    EXPECT_EQ(sap_sdp_text(described, 0),
              (text.substr(0, text.find("news")) + described.name).substr(0, 511));
}

} // namespace
} // namespace vocalink
