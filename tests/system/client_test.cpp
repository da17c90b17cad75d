// SPDX-License-Identifier: GPL-3.0-or-later
// The client mode and the example controllers, as an operator would use them.
#include "system_test.hpp"

#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

namespace vocalink::system_tests {

class client_test : public running_daemon_test {
  protected:
    /** Starts a program whose output goes to a file. @return its standard input */
    FILE* open(const std::string& command) {
        return ::popen((command + " > " + out_path() + " 2>&1").c_str(), "w");
    }
    FILE* open_client(const std::string& redirection = {}) {
        return open(program() + " -r " + daemon->socket_path() + redirection);
    }
    std::string out_path() const { return daemon->directory_path() + "/out"; }
    std::string out() const { return "out:\n" + content(out_path()); }
    testing::AssertionResult says(const std::string& text) {
        const bool said = eventually([&] { return occurrences(out(), text) > 0; });
        return (said ? testing::AssertionSuccess() : testing::AssertionFailure()) << out();
    }

    leg new_phone() { return leg{.id = {}, .phone = harness::rtp_peer(local_ip)}; }
    std::string address(leg& party) { return local_ip + ":" + std::to_string(party.phone.port()); }
    /** Reads a party's port from the program's output, where it stands behind text and address. */
    void find_port(leg& party, const std::string& name) {
        const std::string text = "\n" + name + " sends to " + local_ip + ":";
        ASSERT_TRUE(says(text));
        party.port = std::stoi(out().substr(out().find(text) + text.size()));
    }

    const std::string end = "-- remote: shutting down\n-- remote: shutdown complete.\n";
};

TEST_F(client_test, any_bytes_pass_and_a_block_of_commands_gets_all_its_replies) {
    FILE* const terminal = open_client();
    std::string id, block;
    for (int byte = 128; byte < 256 + 32; ++byte) {
        id += byte % 256 == 0 || byte % 256 == '\n' ? "" : std::string(1, static_cast<char>(byte));
    }
    std::fputs(("new vocalink " + id + "\nlist bridges\n").c_str(), terminal);
    std::fflush(terminal);
    EXPECT_TRUE(says("\nRECOVER_OK\nSUCCESS\nSUCCESS " + id + ",()\n"));
    for (int i = 0; i < 60'000; ++i) {
        block += "recover\n";
    }
    std::fputs(block.c_str(), terminal);
    std::fflush(terminal);
    EXPECT_TRUE(eventually([&] { return occurrences(out(), "RECOVER_OK\n") == 60'001; }));
    EXPECT_EQ(::pclose(terminal), 0);
    EXPECT_TRUE(out().ends_with("RECOVER_OK\n-- remote: EOF from fd 0\n" + end));
}

TEST_F(client_test, ends_with_the_daemon_and_without_a_terminal) {
    EXPECT_EQ(::pclose(open_client(" <&-")), 0);
    EXPECT_TRUE(says("-- remote: EOF from fd 0\n" + end));
    EXPECT_EQ(std::system((program() + " <&- 2>&- -r " + daemon->socket_path()).c_str()), 0);
    EXPECT_EQ(occurrences(daemon->log(), "remote"), 0) << "its log went into its socket";
    FILE* const terminal = open_client();
    EXPECT_TRUE(says("RECOVER_OK\n"));
    EXPECT_EQ(daemon->stop(), 0);
    EXPECT_EQ(::pclose(terminal), 0);
}

TEST_F(client_test, one_command_prints_its_reply_and_tells_its_success_by_the_status) {
    const auto status_of = [&](const std::string& arguments) {
        return WEXITSTATUS(::pclose(open(program() + " -r " + daemon->socket_path() + arguments)));
    };
    EXPECT_EQ(status_of(" -c 'new vocalink room'"), 0);
    EXPECT_EQ(out(), "out:\nSUCCESS\n");
    EXPECT_EQ(status_of(" -c 'delete bridge room'"), 1);
    EXPECT_EQ(out(), "out:\nERROR can't find bridge\n") << "it ended with its connection";
    EXPECT_EQ(status_of(" -c 'recover\nrecover'"), 1);
    EXPECT_EQ(status_of(" -c 'recover " + std::string(40'000, 'x') + "'"), 0);
    EXPECT_EQ(occurrences(daemon->log(), std::string(16'384, 'x')), 0) << "is cut in the log";
    EXPECT_EQ(status_of("/nowhere -c recover"), 1);
    EXPECT_EQ(out(), "out:\n-- remote: fatal error connecting to remote socket: Not a directory\n");
    EXPECT_EQ(status_of(" --help"), 0);
    EXPECT_TRUE(out().starts_with("out:\nusage: vocalink ")) << out();
    EXPECT_EQ(status_of(" -c recover --version"), 0);
    EXPECT_TRUE(out().starts_with("out:\nvocalink ")) << out();
}

TEST_F(client_test, at_a_terminal_words_and_ids_are_completed_and_lines_remembered) {
    int terminal = -1, status = -1;
    const std::string socket_option = "-r" + daemon->socket_path(), path = program();
    const pid_t client = ::forkpty(&terminal, nullptr, nullptr, nullptr);
    if (client == 0) {
        ::execl(path.c_str(), "vocalink", socket_option.c_str(), nullptr);
        ::_exit(127);
    }
    const auto type = [&](const std::string& keys, const std::string& logged) {
        EXPECT_EQ(::write(terminal, keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
        EXPECT_TRUE(daemon->wait_for_log(logged + "\n")) << keys << daemon->log();
    };
    type("new vocalink room\n", "-> connection(2): SUCCESS");
    type("li\tstreams\n", "(2): list streams");
    type("delete bridge ro\t\n", "(2): delete bridge room ");
    type("\x1b[A\x1b[A\x1b[A\n", "-- bridge(room): destroyed\n-> connection(2): SUCCESS\n"
                                 "<- tolvey connection(2): new vocalink room");
    type("\x04", "-- connection(2): terminated");
    std::string shown;
    for (char byte = 0; ::read(terminal, &byte, 1) == 1;) { // until the terminal has no other end
        shown += byte;
    }
    EXPECT_NE(shown.find("-- remote: shutdown complete."), std::string::npos) << shown;
    ::close(terminal);
    ::waitpid(client, &status, 0);
    EXPECT_EQ(status, 0);
}

TEST_F(client_test, examples_connect_telephones_and_tell_of_their_keys) {
    if (std::system("python3 -c 'import sys; sys.exit(sys.version_info < (3, 10))'") != 0) {
        GTEST_SKIP() << "needs Python 3.10";
    }
    leg anna = new_phone(), bruno = new_phone();
    const std::string connection = daemon->socket_path() + " " + local_ip;
    FILE* const conference =
        open("PYTHONPATH=" VOCALINK_SOURCE_DIR "/clients/python PYTHONDONTWRITEBYTECODE=1 "
             "python3 " VOCALINK_SOURCE_DIR "/examples/conference.py " +
             connection + " anna=" + address(anna) + " bruno=" + address(bruno));
    find_port(anna, "anna");
    find_port(bruno, "bruno");
    const std::pair<std::uint8_t, const char*> keys[] = {{10, "anna is muted\n"},
                                                         {10, "anna speaks again\n"},
                                                         {11, "anna has left, incoming_packets="}};
    for (const auto& [key, text] : keys) {
        anna.send(telephone_event, {key, 10, 0, 160}, true);
        anna.send(telephone_event, {key, 0x8A, 3, 32});
        ASSERT_TRUE(says(text));
    }
    bruno.send(telephone_event, {11, 10, 0, 160}, true);
    EXPECT_EQ(::pclose(conference), 0);
    FILE* const script =
        open("VOCALINK=" + program() + " bash " VOCALINK_SOURCE_DIR "/examples/two_party_call.sh " +
             connection + " PCMU " + address(anna) + " " + address(bruno));
    find_port(anna, "telephone " + address(anna));
    ASSERT_TRUE(says("connected; press Enter to hang up\n"));
    anna.send(telephone_event, {5, 10, 0, 160}, true);
    EXPECT_TRUE(says("notice: DTMF_START STREAM leg1 EVENT 5 VOLUME 10\n"));
    std::fputs("\n", script);
    EXPECT_EQ(::pclose(script), 0);
    EXPECT_TRUE(says("call ended\n"));
}

} // namespace vocalink::system_tests
