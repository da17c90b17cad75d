// SPDX-License-Identifier: GPL-3.0-or-later
// Encrypted legs against an SRTP peer of the tests' own.
#include "srtp_peer.hpp"
#include "system_test.hpp"

namespace vocalink::system_tests {

const std::string text_key = "a key of 30 characters as text";
const std::string base64_key = "YSBrZXkgb2YgMzAgY2hhcmFjdGVycyBhcyB0ZXh0"; // the same
const std::string raw_key = "30 characters, blanks included";

class srtp_test : public running_daemon_test {
  protected:
    void set_keys(const std::string& id, const std::string& send, const std::string& receive) {
        expect_reply("set stream " + id + " encryption \"" + send + "\" \"" + receive + "\"",
                     "SUCCESS");
    }

    static bytes packet(int sequence, std::uint32_t ssrc = 7) {
        return harness::rtp_packet_bytes(pcmu, static_cast<std::uint16_t>(sequence), 160, ssrc,
                                         random_bytes(160, static_cast<unsigned>(sequence)));
    }

    /** Sends bytes to one leg. @return what the other gets */
    static std::optional<bytes> relayed(leg& from, const bytes& sent, leg& to) {
        from.send(sent);
        return to.phone.receive();
    }

    srtp_peer first{text_key};
    srtp_peer second{raw_key};
};

TEST_F(srtp_test, peer_and_plain_leg_understand_each_other_through_wraps_sources_and_new_keys) {
    auto legs = new_call({"PCMU", "PCMU"});
    leg &plain = legs[0], &secret = legs[1];
    set_keys("b", base64_key, raw_key);
    const std::tuple<int, std::uint32_t, int> rows[] = {{65533, 7, 0}, {65535, 7, 0}, {1, 7, 1},
                                                        {65534, 7, 0}, {0, 7, 1},     {5, 8, 0},
                                                        {2, 7, 1},     {6, 8, 0},     {3, 7, 1}};
    for (const auto& [sequence, ssrc, rollovers] : rows) {
        const bytes sent = packet(sequence, ssrc);
        EXPECT_EQ(relayed(plain, sent, secret), first.crypt(sent, rollovers)) << sequence;
        EXPECT_EQ(relayed(secret, second.crypt(sent, rollovers), plain), sent) << sequence;
    }
    for (const auto& [sequence, rollovers] : {std::pair(3, 1), std::pair(40'000, 0)}) {
        const bytes sent = packet(sequence);
        EXPECT_EQ(relayed(plain, sent, secret), first.crypt(sent, rollovers)) << "not a new one";
    }
    set_keys("b", raw_key, base64_key);
    const bytes sent = packet(3); // taken before, and without a wrap: the old sessions are gone
    EXPECT_EQ(relayed(plain, sent, secret), second.crypt(sent));
    EXPECT_EQ(relayed(secret, first.crypt(sent), plain), sent);
    EXPECT_EQ(occurrences(daemon->log(), "srtp"), 0);
}

TEST_F(srtp_test, bad_packets_are_counted_and_logged_once_and_the_call_goes_on) {
    auto legs = new_call({"PCMU", "PCMU"});
    leg &plain = legs[0], &secret = legs[1];
    set_keys("b", base64_key, raw_key);
    const bytes good = second.crypt(packet(300));
    EXPECT_EQ(relayed(secret, good, plain), packet(300));
    EXPECT_EQ(relayed(secret, good, plain), good) << "replayed, so passed on as it is";
    secret.send(bytes(good.begin(), good.begin() + 11));
    secret.send({});
    const bytes wrong_key = first.crypt(packet(301)); // which nothing tells
    EXPECT_EQ(relayed(secret, wrong_key, plain), second.crypt(wrong_key));
    for (unsigned i = 0; i < 200; ++i) {
        secret.send(random_bytes(i, i));
    }
    secret.send(second.crypt( // ends an event that may have begun
        harness::rtp_packet_bytes(telephone_event, 299, 0, 7, bytes{0, 0x80, 0, 1})));
    secret.send(second.crypt(packet(302)));
    while (plain.phone.receive().value() != packet(302)) {
    }
    EXPECT_EQ(occurrences(daemon->log(), "-- stream(b): srtp decrypt failed: "), 1);
    EXPECT_TRUE(control->command("delete stream b").starts_with("SUCCESS"));
    EXPECT_TRUE(daemon->wait_for_log("total srtp errors: 0 encrypt failures, "));
}

} // namespace vocalink::system_tests
