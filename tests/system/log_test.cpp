// SPDX-License-Identifier: GPL-3.0-or-later
// A log that is read late, or never.
#include "system_test.hpp"

#include <fcntl.h>
#include <sys/wait.h>

namespace vocalink::system_tests {

/** Has a second daemon, whose log is a pipe that the test reads when it likes. */
class log_test : public system_test {
  protected:
    /** @param flags  of the end that the daemon writes to, which others may have set */
    void start_with_pipe(int flags) {
        start();
        int ends[2];
        ASSERT_EQ(::pipe2(ends, O_CLOEXEC), 0);
        ::fcntl(ends[1], F_SETFL, flags);
        log = ::fdopen(ends[0], "r");
        const std::string path = daemon->directory_path() + "/piped", name = program();
        pid = ::fork();
        if (pid == 0) {
            ::dup2(ends[1], STDERR_FILENO);
            ::execl(name.c_str(), "vocalink", "-s", path.c_str(), nullptr);
            ::_exit(127);
        }
        ::close(ends[1]);
        while (!read_line().starts_with("-- main: entering event loop")) {
        }
        piped.emplace(path);
    }

    /** Sends SIGINT. @return the exit status */
    int stop_piped() {
        ::kill(pid, SIGINT);
        int status = -1;
        ::waitpid(pid, &status, 0);
        return status;
    }

    ~log_test() override { ::fclose(log); }

    std::string read_line() {
        char* line = nullptr;
        std::size_t room = 0;
        const ssize_t length = ::getline(&line, &room, log);
        const std::string text(line, length > 0 ? static_cast<std::size_t>(length) : 0);
        std::free(line);
        return text;
    }

    /** Sends commands far beyond what pipe and queue take. */
    void fill_log() {
        for (int i = 0; i < commands; ++i) {
            EXPECT_EQ(piped->command("recover " + std::to_string(i) + " " + id), "RECOVER_OK");
        }
    }

    /** Reads what the pipe holds. Each line must be whole and none may be missing untold. */
    void expect_commands_or_their_loss() {
        int seen = 0, lost = 0;
        while (seen + lost < 2 * commands) {
            const std::string line = read_line();
            ASSERT_TRUE(line.ends_with('\n')) << "the log ended after " << line;
            const std::string number = std::to_string((seen + lost) / 2);
            if (line.ends_with(" log lines dropped\n")) {
                lost += std::stoi(line.substr(line.find(": ") + 2));
            } else if (!line.starts_with("-- connection(1): starting")) {
                ASSERT_EQ(line, (seen + lost) % 2 != 0 ? "-> connection(1): RECOVER_OK\n"
                                                       : "<- tolvey connection(1): recover " +
                                                             number + " " + id + "\n");
                seen += 1;
            }
        }
        EXPECT_GT(lost, 0);
        EXPECT_GT(seen, 300); // the queue's megabyte, and the pipe
    }

    static constexpr int commands = 600;
    const std::string id = std::string(5000, 'x'); ///< more than a pipe takes in one piece
    FILE* log = nullptr;                           ///< its reading end
    pid_t pid = -1;
    std::optional<harness::controller> piped;
};

TEST_F(log_test, nobody_waits_for_an_unread_log_and_what_is_missing_is_told) {
    start_with_pipe(O_NONBLOCK);
    fill_log();
    expect_commands_or_their_loss();
    EXPECT_EQ(piped->command("recover"), "RECOVER_OK");
    EXPECT_EQ(read_line(), "<- tolvey connection(1): recover\n");
    EXPECT_EQ(stop_piped(), 0);
    std::string last;
    for (std::string line = read_line(); !line.empty(); line = read_line()) {
        last = line;
    }
    EXPECT_EQ(last, "-- main: exiting event loop\n");
}

TEST_F(log_test, daemon_ends_although_nobody_reads_its_log) {
    start_with_pipe(0);
    fill_log();
    EXPECT_EQ(stop_piped(), 0);
}

} // namespace vocalink::system_tests
