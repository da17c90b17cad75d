// SPDX-License-Identifier: GPL-3.0-or-later
// Encrypted legs against an SRTP peer of the tests' own, and keys that stay out of the log.
#include "srtp_peer.hpp"
#include "system_test.hpp"

namespace vocalink::system_tests {

bytes from_hex(const std::string& digits) {
    bytes made;
    for (std::size_t i = 0; i < digits.size(); i += 2) {
        made.push_back(static_cast<std::uint8_t>(std::stoi(digits.substr(i, 2), nullptr, 16)));
    }
    return made;
}

// RFC 3711 B.3.
const bytes rfc_master = from_hex("E1F97A0D3E018BE0D64FA32C06DE41390EC675AD498AFEEBB6960B3AABE6");
const std::string base64_key = "4fl6DT4Bi+DWT6MsBt5BOQ7Gda1Jiv7rtpYLOqvm"; // the same
const std::string raw_key = "30 characters, blanks included";

TEST(srtp_peer_test, agrees_with_the_vectors_of_rfc_3711) {
    const srtp_peer derived(rfc_master);
    EXPECT_EQ(bytes(derived.key.begin(), derived.key.end()),
              from_hex("C61E7A93744F39EE10734AFE3FF7A087"));
    EXPECT_EQ(bytes(derived.salt.begin(), derived.salt.end()),
              from_hex("30CBBC08863D8C85D49DB34A9AE10000"));
    aes_block key, counter; // B.2
    std::ranges::copy(from_hex("2B7E151628AED2A6ABF7158809CF4F3C"), key.begin());
    std::ranges::copy(from_hex("F0F1F2F3F4F5F6F7F8F9FAFBFCFD0000"), counter.begin());
    const bytes stream = aes_keystream(key, counter, 0xFF02 * 16);
    EXPECT_EQ(bytes(stream.begin(), stream.begin() + 16),
              from_hex("E03EAD0935C95E80E166B16DD92B4EB4"));
    EXPECT_EQ(bytes(stream.end() - 32, stream.end()),
              from_hex("362B7C3C6773516318A077D7FC5073AE6A2CC3787889374FBEB4C81B17BA6C44"));
}

class srtp_test : public system_test {
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

    srtp_peer first{rfc_master};
    srtp_peer second{raw_key};
};

TEST_F(srtp_test, peer_and_plain_leg_understand_each_other_through_wraps_sources_and_new_keys) {
    start();
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
    set_keys("b", raw_key, base64_key);
    const bytes sent = packet(3); // taken before, and without a wrap: the old sessions are gone
    EXPECT_EQ(relayed(plain, sent, secret), second.crypt(sent));
    EXPECT_EQ(relayed(secret, first.crypt(sent), plain), sent);
    EXPECT_EQ(occurrences(daemon->log(), "srtp"), 0);
}

TEST_F(srtp_test, bad_packets_are_counted_and_logged_once_and_the_call_goes_on) {
    start();
    auto legs = new_call({"PCMU", "PCMU"});
    leg &plain = legs[0], &secret = legs[1];
    set_keys("b", base64_key, raw_key);
    const bytes good = second.crypt(packet(300));
    EXPECT_EQ(relayed(secret, good, plain), packet(300));
    EXPECT_EQ(relayed(secret, good, plain), good) << "replayed, so passed on as it is";
    EXPECT_EQ(relayed(secret, second.crypt(packet(100)), plain), second.crypt(packet(100)));
    secret.send(bytes(good.begin(), good.begin() + 11));
    secret.send({});
    EXPECT_EQ(relayed(secret, good, plain), good);
    const bytes wrong_key = first.crypt(packet(301)); // which nothing tells
    EXPECT_EQ(relayed(secret, wrong_key, plain), second.crypt(wrong_key));
    expect_reply("leave room b", "SUCCESS");
    EXPECT_TRUE(control->command("delete stream b").starts_with("SUCCESS incoming_packets=6 "));
    const std::string log = daemon->log(), stream = "-- stream(b): ";
    EXPECT_EQ(occurrences(log, "srtp decrypt failed: "), 1);
    for (const std::string line :
         {"srtp decrypt failed: replay check failed (bad index)\n",
          "future decryption failures for stream will be supressed\n",
          "total srtp errors: 0 encrypt failures, 5unencrypt failures.\n"}) {
        EXPECT_EQ(occurrences(log, stream + line), 1) << line;
    }
    leg again = new_leg("d", "PCMU");
    set_keys("d", base64_key, raw_key);
    expect_reply("join room d", "SUCCESS");
    for (unsigned i = 0; i < 200; ++i) {
        again.send(random_bytes(i, i));
    }
    again.send(second.crypt( // ends an event that may have begun
        harness::rtp_packet_bytes(telephone_event, 299, 0, 7, bytes{0, 0x80, 0, 1})));
    again.send(good);
    while (plain.phone.receive().value() != packet(300)) {
    }
}

TEST_F(srtp_test, each_member_of_a_mix_gets_its_own_protection) {
    start();
    auto legs = new_call({"PCMU", "G711A", "PCMU"});
    set_keys("a", base64_key, raw_key);
    set_keys("b", raw_key, base64_key);
    ASSERT_TRUE(legs[2].phone.receive()); // the mix has begun
    expect_reply("new dtmf_stream digit 5 100 101", "SUCCESS");
    expect_reply("join room digit", "SUCCESS");
    for (std::uint16_t i = 0; i < 20; ++i) {
        legs[0].send(second.crypt(harness::rtp_packet_bytes(pcmu, i, 0, 7, bytes(160, 0xAA))));
    }
    const srtp_peer* const peers[] = {&first, &second, nullptr};
    const int voices[] = {0xFF, 0xD5, 0xAA}; // what each hears, and not protected twice
    for (std::size_t i = 0; i < legs.size(); ++i) {
        std::string events;
        int heard = 0;
        for (int count = 0; count < 30; ++count) {
            const bytes received = legs[i].phone.receive().value();
            const bytes packet = peers[i] ? peers[i]->crypt(received) : received;
            if (packet[1] % 128 == telephone_event && packet[12] == 5) {
                events += std::to_string(packet[3]) + " ";
            } else if (packet.size() == 172 &&
                       std::count(packet.begin() + 12, packet.end(), voices[i]) == 160) {
                heard += 1;
            } else {
                EXPECT_EQ(peers[i], nullptr) << "party " << i << " cannot understand a packet";
            }
        }
        EXPECT_EQ(events, "1 2 3 4 5 6 7 ");
        EXPECT_GT(heard, 0) << i;
    }
}

TEST_F(srtp_test, keys_have_two_forms_and_never_reach_the_log) {
    start();
    expect_reply(new_stream("b", "PCMU"), "SUCCESS 6000 " + local_ip);
    const std::string set = "set stream b encryption ", wrong(32, 'w'),
                      raw = "\"" + raw_key + "\" ";
    const std::string only_28_bytes = base64_key.substr(0, 38) + "== ";
    const std::string refusal = " must be 30 (raw) or 40 (base64) characters in length";
    const std::string features =
        "types are: targets restricted sources selective endpoint encryption";
    const std::pair<std::string, std::string> rows[] = {
        {set + raw + base64_key, "SUCCESS"},
        {set + wrong + " " + wrong, "ERROR send_key" + refusal},
        {set + only_28_bytes + raw, "ERROR send_key" + refusal},
        {set + raw + only_28_bytes, "ERROR receive_key" + refusal},
        {set + raw, "ERROR encryption parameter requires two arguments: send_key receive_key"},
        {"set stream b " + base64_key + " " + raw,
         "ERROR COMMAND_ERROR set: unknown feature type '" + base64_key + "', available " +
             features},
        {base64_key + " " + raw, "ERROR COMMAND_ERROR unknown command '" + base64_key + "'"}};
    for (const auto& [command, reply] : rows) {
        expect_reply(command, reply);
    }
    control->send("set stream b encryp");
    EXPECT_TRUE(control->read_line()->starts_with("ERROR"));
    expect_reply("tion " + raw + base64_key, "ERROR COMMAND_ERROR unknown command 'tion'");
    const std::string log = daemon->log();
    EXPECT_EQ(occurrences(log, "<- tolvey connection(1): tion **** ****\n"), 1);
    for (const std::string& part : {base64_key.substr(0, 9), base64_key.substr(30), raw_key}) {
        EXPECT_EQ(occurrences(log, part), 0) << part;
    }
}

} // namespace vocalink::system_tests
