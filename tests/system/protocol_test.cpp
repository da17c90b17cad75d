// SPDX-License-Identifier: GPL-3.0-or-later
// Framing of commands, their refusals, and many controllers beside each other.
#include "system_test.hpp"

#include <sstream>

#include <sys/socket.h>

namespace vocalink::system_tests {

using protocol_test = system_test;

TEST_F(protocol_test, frames_chunks_into_lines_and_words) {
    start();
    EXPECT_EQ(control->greeting(), "RECOVER_OK");
    const std::string unknown = "ERROR COMMAND_ERROR unknown command '";
    const std::string no_words =
        "ERROR COMMAND_ERROR commands must be in the format 'operation [args]'";
    const std::vector<std::pair<std::string, std::string>> chunks = {
        {"recover\nnew vocalink b\n", "RECOVER_OK\nSUCCESS"},
        {"\n\n\nrecover a b\n", "RECOVER_OK"},
        {"recoverX", "RECOVER_OK"}, // the last byte of a chunk is taken for a newline
        {"reco", unknown + "rec'"}, // a command in two chunks is two commands
        {"ver\n", unknown + "ver'"},
        {"recover\r\n", unknown + "recover\r'"},
        {std::string("recover\0er\nrecover\n", 19), "RECOVER_OK"}, // NUL ends the chunk
        {"   \n\"\"\n", no_words + "\n" + no_words},
        {"RECOVER\n", unknown + "RECOVER'"},
        {std::string(5000, 'x') + "\n", unknown + std::string(1006, 'x')},
        {"  new   voca\"link\" \"my \\\"b\"ridge\\ 1\\\n", "SUCCESS"},
        {"delete bridge my\\ \\\"bridge\\ 1\n", "SUCCESS"},
        {"recover\n", "RECOVER_OK"},
    };
    for (const auto& [chunk, replies] : chunks) {
        control->send(chunk);
        std::istringstream expected(replies);
        for (std::string reply; std::getline(expected, reply);) {
            ASSERT_EQ(control->read_line(), reply) << chunk;
        }
    }
}

TEST_F(protocol_test, lines_come_in_any_pieces_once_the_controller_asks_for_that) {
    start();
    control->send("framing lines\nreco");
    EXPECT_EQ(control->read_line(), "SUCCESS");
    control->send("ver\r\nframing lines tags\n#x reco");
    EXPECT_EQ(control->read_line(), "RECOVER_OK");
    EXPECT_EQ(control->read_line(), "SUCCESS");
    control->send("ver\n#y " + std::string(1'100'000, 'y'));
    EXPECT_EQ(control->read_line(), "#x RECOVER_OK");
    EXPECT_EQ(control->read_line(), "#y ERROR line too long");
    control->send("yy\n#z recover\n");
    EXPECT_EQ(control->read_line(), "#z RECOVER_OK");
}

TEST_F(protocol_test, refuses_in_the_order_count_then_id_then_the_rest) {
    start();
    expect_reply(new_stream("x", "PCMU"), "SUCCESS 6000 " + local_ip);
    std::istringstream dialogue(content(VOCALINK_DIALOGUES "/refusals.txt"));
    for (std::string line; std::getline(dialogue, line);) {
        const std::size_t arrow = line.find(" => ");
        expect_reply(line.substr(0, arrow), line.substr(arrow + 4));
    }
    EXPECT_EQ(occurrences(daemon->log(), "-- stream(): bridge(y): stream x is already"), 1);
}

TEST_F(protocol_test, controllers_own_objects_of_the_same_names) {
    start();
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
    start();
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
