// SPDX-License-Identifier: GPL-3.0-or-later
// How many sources an encrypted leg follows, and what it says of itself to the network.
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

TEST_F(srtp_session_test, known_sources_outlive_a_flood_of_new_ones) {
    std::string packet, sent;
    for (const int sequence : {65535, 0, 1}) { // rolls over
        packet = packet_of(sequence, 1);
        EXPECT_EQ(pass(sender, packet), srtp_err_status_ok);
        sent = packet;
        EXPECT_EQ(pass(receiver, packet), srtp_err_status_ok);
    }
    for (std::uint32_t source = 2; source <= 300; ++source) {
        packet = packet_of(9, source);
        EXPECT_EQ(pass(receiver, packet),
                  source > 256 ? srtp_err_status_no_ctx : srtp_err_status_ok)
            << source;
    }
    EXPECT_EQ(pass(receiver, sent), srtp_err_status_replay_fail);
    packet = packet_of(2, 1);
    EXPECT_EQ(pass(sender, packet), srtp_err_status_ok);
    EXPECT_NE(packet, packet_of(2, 1));
    EXPECT_EQ(pass(receiver, packet), srtp_err_status_ok);
    EXPECT_EQ(packet, packet_of(2, 1));
    packet.resize(11);
    EXPECT_EQ(pass(receiver, packet), srtp_err_status_bad_param);
}

TEST(sap_sdp_text, is_exact_and_cut_to_its_size) {
    sap_description described{0xFFFFFFFF, "news, (1)", "10.0.0.1", "239.1.2.3", 5004, 18, "G729"};
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
