// SPDX-License-Identifier: GPL-3.0-or-later
// Datagrams and commands that no honest telephone or controller sends.
#include "system_test.hpp"

namespace vocalink::system_tests {

namespace {

/** Datagrams of every length from 0 to 1500, then packets of every payload type, half of them with
 *  padding, extension or contributing sources, of lengths about the limits of the codecs. */
std::vector<bytes> hostile_datagrams() {
    std::vector<bytes> made;
    for (unsigned length = 0; length <= 1500; ++length) {
        made.push_back(random_bytes(length, length));
    }
    for (unsigned type = 0; type < 128; ++type) {
        for (const unsigned length : {0U, 3U, 4U, 20U, 38U, 50U, 160U, 164U}) {
            made.push_back(harness::rtp_packet_bytes(
                static_cast<int>(type), static_cast<std::uint16_t>(made.size()), 0, type,
                random_bytes(length, type), length % 3 == 0));
            made.back()[0] = static_cast<std::uint8_t>(0x80 | (type % 2 * type * length) % 64);
        }
    }
    return made;
}

} // namespace

using hostile_test = running_daemon_test;

TEST_F(hostile_test, pair_counts_everything_and_relays_nothing_but_what_was_sent) {
    const std::vector<bytes> datagrams = hostile_datagrams();
    for (const std::string encoding : {"PCMU", "ILBC30"}) {
        auto legs = new_call({encoding, encoding});
        auto received = datagrams.size() - 1; // the empty one does not count
        for (std::size_t i = 0; i < datagrams.size(); ++i) {
            legs[0].send(datagrams[i]);
            if (i % 40 == 0 || i + 1 == datagrams.size()) { // a receive buffer holds as many
                wait_until_read(legs[0]);
                received += packets_of_wait;
            }
        }
        int relayed = 0;
        for (; const auto packet = legs[1].phone.receive(0ms); ++relayed) {
            EXPECT_EQ(std::count(datagrams.begin(), datagrams.end(), *packet), 1);
        }
        EXPECT_GT(relayed, 0);
        expect_reply("delete stream a", "SUCCESS incoming_packets=" + std::to_string(received) +
                                            " outgoing_packets=0");
        expect_reply("delete stream b",
                     "SUCCESS incoming_packets=0 outgoing_packets=" + std::to_string(relayed));
        expect_reply("delete bridge room", "SUCCESS");
    }
}

TEST_F(hostile_test, every_line_of_whatever_bytes_gets_one_reply) {
    const std::vector<std::string> fragments{"\"",
                                             "\\",
                                             "\n",
                                             "new ",
                                             "delete ",
                                             " %n",
                                             new_stream("x", "G729") + "\n",
                                             "new vocalink x\n",
                                             "join x x\n",
                                             "leave x x\n",
                                             "delete stream x\n",
                                             "delete bridge x\n"};
    std::minstd_rand random(2);
    for (int round = 0; round < 100; ++round) {
        std::string chunk = "begin";
        while (chunk.size() < 8000) {
            const bytes noise = random_bytes(random() % 20, static_cast<unsigned>(random()));
            chunk.append(noise.begin(), random() % 4 == 0 ? noise.end() : noise.begin());
            chunk += fragments[random() % fragments.size()];
        }
        std::replace(chunk.begin(), chunk.end(), '\0', '\n'); // which would end the chunk
        control->send(chunk += "\nfinish\n");
        std::string reply;
        for (auto lines = occurrences(chunk, "\n") - occurrences(chunk, "\n\n"); lines > 0;
             --lines) {
            reply = control->read_line().value_or("");
            ASSERT_TRUE(reply.starts_with("SUCCESS") || reply.starts_with("ERROR ")) << reply;
        }
        EXPECT_TRUE(reply.ends_with("unknown command 'finish'")) << reply;
    }
}

TEST_F(hostile_test, flood_of_keys_is_told_to_the_controller_but_not_to_the_log) {
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
    const std::string log = daemon->log();
    int left_out = 0;
    const std::string end = " notices not logged\n";
    for (std::size_t at = log.find(end); at != std::string::npos; at = log.find(end, at + 1)) {
        left_out += std::stoi(log.substr(log.rfind(' ', at - 1)));
    }
    EXPECT_EQ(occurrences(log, "<- connection(1): DTMF_") + left_out, notices) << log;
    EXPECT_GT(left_out, 0);
}

} // namespace vocalink::system_tests
