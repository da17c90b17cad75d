// SPDX-License-Identifier: GPL-3.0-or-later
// Framing of commands, their refusals, and many controllers beside each other.
#include "system_test.hpp"

#include <sys/socket.h>

namespace vocalink::system_tests {

using protocol_test = running_daemon_test;

TEST_F(protocol_test, lines_come_in_any_pieces_once_the_controller_asks_for_that) {
    const std::string unknown = "ERROR COMMAND_ERROR unknown command '";
    const std::pair<std::string, std::vector<std::string>> pieces[] = {
        {std::string(5000, 'x') + "\n", {unknown + std::string(1006, 'x')}},
        {"\"\"\nframing lines\nreco",
         {"ERROR COMMAND_ERROR commands must be in the format 'operation [args]'", "SUCCESS"}},
        {"ver\r\nframing lines tags\n#x reco", {"RECOVER_OK", "SUCCESS"}},
        {"ver\n#y " + std::string(1'100'000, 'y'), {"#x RECOVER_OK", "#y ERROR line too long"}},
        {"yy\n#z recover\n", {"#z RECOVER_OK"}}};
    for (const auto& [piece, replies] : pieces) {
        control->send(piece);
        for (const std::string& reply : replies) {
            ASSERT_EQ(control->read_line(), reply);
        }
    }
}

TEST_F(protocol_test, refuses_in_the_order_count_then_id_then_the_rest) {
    expect_reply(new_stream("x", "PCMU"), "SUCCESS 6000 " + local_ip);
    std::istringstream dialogue(content(VOCALINK_DIALOGUES "/refusals.txt"));
    for (std::string line; std::getline(dialogue, line);) {
        const std::size_t arrow = line.find(" => ");
        expect_reply(line.substr(0, arrow), line.substr(arrow + 4));
    }
    EXPECT_EQ(occurrences(daemon->log(), "-- stream(): bridge(y): stream x is already"), 1);
}

TEST_F(protocol_test, controllers_own_objects_of_the_same_names) {
    std::vector<harness::controller> crowd;
    for (int i = 0; i < 5; ++i) {
        harness::controller& each = crowd.emplace_back(daemon->socket_path());
        EXPECT_EQ(each.command(new_stream("s", "PCMU")),
                  "SUCCESS " + std::to_string(6000 + 2 * i) + " " + local_ip);
        EXPECT_EQ(each.command("new vocalink mine"), "SUCCESS");
        EXPECT_EQ(each.command("join mine s"), "SUCCESS");
    }
    crowd[2].send("new voca"); // and gone, before the command is whole
    crowd[2].close();
    EXPECT_TRUE(daemon->wait_for_log("-- stream(s): tolvey destroyed\n-- bridge(mine): destroyed\n"
                                     "-- connection(4): terminated\n"));
    EXPECT_EQ(crowd[3].command("leave mine s"), "SUCCESS");
}

TEST_F(protocol_test, controller_that_never_reads_stalls_nobody_and_loses_nothing) {
    harness::controller deaf(daemon->socket_path());
    std::string chunk; // its length divides that of the daemon's reads
    for (int i = 0; i < 512; ++i) {
        chunk += "recover\n";
    }
    ssize_t sent = 0;
    pollfd room{deaf.fd(), POLLOUT, 0};
    while (sent < 800'000 && ::poll(&room, 1, 300) == 1) {
        sent += std::max(::send(deaf.fd(), chunk.data(), chunk.size(), MSG_DONTWAIT), ssize_t{0});
    }
    EXPECT_LT(sent, 800'000) << "commands are still read, but nobody takes the replies";
    expect_reply("recover", "RECOVER_OK");
    for (ssize_t i = 0; i < sent / 8; ++i) {
        ASSERT_EQ(deaf.read_line(), "RECOVER_OK") << "reply " << i << " of " << sent / 8;
    }
    EXPECT_EQ(deaf.command("new vocalink last"), "SUCCESS");
}

} // namespace vocalink::system_tests
