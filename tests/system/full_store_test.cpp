// SPDX-License-Identifier: GPL-3.0-or-later
// A daemon at a terminal, whose store directory is a full file system of its own.
#include "system_test.hpp"

#include <pty.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <termios.h>

namespace vocalink::system_tests {

class full_store_test : public system_test {
  protected:
    static constexpr int no_namespace = 77;

    /** The new daemon's side of the fork. The terminal stops whoever writes in the background. */
    [[noreturn]] void become_daemon(const char* program) const {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        termios settings{};
        ::tcgetattr(STDIN_FILENO, &settings);
        settings.c_lflag |= TOSTOP;
        ::tcsetattr(STDIN_FILENO, TCSANOW, &settings);
        if (::unshare(CLONE_NEWNS) == 0 &&
            ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
            ::mount("none", store.path().c_str(), "tmpfs", 0, "size=64k") == 0) {
            ::execl(program, "vocalink", "-s", socket.c_str(), "-a", work.path().c_str(), "-l",
                    store.path().c_str(), nullptr);
        }
        ::_exit(no_namespace);
    }

    /** @return its exit status if it ends in time, else -1 */
    int status() {
        int ended = -1;
        (void)eventually([&] { return ::waitpid(pid, &ended, WNOHANG) == pid; });
        return ended;
    }

    void TearDown() override {
        ::kill(pid, SIGKILL);
        ::close(terminal);
        system_test::TearDown();
    }

    /** Records that many packets. @return the name of the file, which is then finished */
    std::string record(std::vector<leg>& legs, const std::string& name, int packets) {
        const std::string reply = control->command("recording start a " + name + " pcap");
        const std::string file = reply.substr(("SUCCESS " + store.path() + "/").size());
        for (int i = 0; i < packets; ++i) {
            const bytes sent = legs[0].send(pcmu, random_bytes(160, 1));
            EXPECT_EQ(legs[1].phone.receive(), sent);
        }
        expect_reply("recording stop a " + name, "SUCCESS");
        EXPECT_EQ(control->notice(), "REC_STARTED " + file + " a");
        EXPECT_EQ(control->notice(), "REC_FINISHED " + file + " a");
        return file;
    }

    harness::temporary_directory work, store;
    const std::string socket = work.path() + "/control";
    int terminal = -1;
    pid_t pid = -1;
};

TEST_F(full_store_test, has_whole_files_only_and_the_others_stay_in_the_work_directory) {
    start();
    const std::string program = "/proc/" + std::to_string(daemon->pid()) + "/exe";
    pid = ::forkpty(&terminal, nullptr, nullptr, nullptr);
    if (pid == 0) {
        become_daemon(program.c_str());
    }
    if (!eventually([this] { return fs::exists(socket); }, 5s)) {
        ASSERT_EQ(WEXITSTATUS(status()), no_namespace);
        GTEST_SKIP() << "needs a mount namespace of its own";
    }
    control.emplace(socket);
    auto legs = new_call({"PCMU", "PCMU"});
    constexpr std::size_t header_bytes = 24, record_bytes = 48 + 12 + 160;
    const std::string small = record(legs, "small", 1), large = record(legs, "large", 400);
    const fs::path stored = "/proc/" + std::to_string(pid) + "/root" + store.path();
    EXPECT_EQ(fs::file_size(stored / small), header_bytes + record_bytes);
    EXPECT_EQ(std::distance(fs::directory_iterator(stored), {}), 1);
    EXPECT_EQ(fs::file_size(work.path() + "/" + large), header_bytes + 400 * record_bytes);
    ::kill(pid, SIGINT);
    EXPECT_EQ(status(), 0);
}

} // namespace vocalink::system_tests
