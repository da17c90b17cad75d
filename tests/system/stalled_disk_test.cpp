// SPDX-License-Identifier: GPL-3.0-or-later
// A disk that does not answer: commands wait for it, calls and other controllers do not.
#include "system_test.hpp"

#include <sys/ptrace.h>
#include <sys/wait.h>

namespace vocalink::system_tests {

/** Stops every thread of the daemon but the one of its loop, as a disk does that does not answer. */
class stalled_workers {
  public:
    explicit stalled_workers(pid_t daemon) {
        for (const auto& task :
             fs::directory_iterator("/proc/" + std::to_string(daemon) + "/task")) {
            const pid_t id = std::stoi(task.path().filename());
            if (id != daemon && ::ptrace(PTRACE_SEIZE, id, 0, 0) == 0) {
                ::ptrace(PTRACE_INTERRUPT, id, 0, 0);
                ::waitpid(id, nullptr, __WALL);
                stopped.push_back(id);
            }
        }
    }
    ~stalled_workers() {
        for (const pid_t id : stopped) {
            ::ptrace(PTRACE_DETACH, id, 0, 0);
        }
    }

    std::vector<pid_t> stopped;
};

class stalled_disk_test : public system_test {
  protected:
    void SetUp() override {
        start({"-a", directory.path(), "-l", store.path()});
        std::ofstream(sound) << std::string(160, 'x');
    }
    static void expect_call(std::vector<leg>& legs) {
        for (int i = 0; i < 2; ++i) {
            const bytes sent = legs[i].send(pcmu, random_bytes(160, 1));
            EXPECT_EQ(legs[1 - i].phone.receive(), sent);
        }
    }

    harness::temporary_directory directory, store;
    const std::string sound = directory.path() + "/sound";
};

TEST_F(stalled_disk_test, only_the_controller_that_opens_a_file_waits) {
    auto legs = new_call({"PCMU", "PCMU"});
    harness::controller other(daemon->socket_path()), leaving(daemon->socket_path());
    EXPECT_TRUE(leaving.command(new_stream("a", "PCMU")).starts_with("SUCCESS"));
    {
        const stalled_workers stalled(daemon->pid());
        ASSERT_GE(stalled.stopped.size(), 3U);
        control->send("recording start a r ulaw_in\nnew sound_stream s " + sound + " loop PCMU\n");
        leaving.send("recording start a gone pcap\n");
        EXPECT_EQ(other.command("recover"), "RECOVER_OK"); // a later turn than theirs
        leaving.close();
        expect_call(legs);
        EXPECT_EQ(other.command("recover"), "RECOVER_OK");
        EXPECT_FALSE(control->read_line(100ms));
    }
    const std::string reply = control->read_line().value();
    EXPECT_TRUE(reply.starts_with("SUCCESS " + store.path() + "/r_")) << reply;
    const std::string started = "REC_STARTED " + reply.substr(store.path().size() + 9) + " a";
    EXPECT_EQ((std::set{control->read_line().value(), control->read_line().value()}),
              (std::set{started, "SUCCESS " + sound + " loop"}));
    expect_reply("recording stop a r", "SUCCESS");
    EXPECT_TRUE(control->notice().value().starts_with("REC_FINISHED r_"));
    EXPECT_EQ(fs::file_size(reply.substr(8)), 160U) << "what came while the file was opened";
    EXPECT_TRUE(eventually([this] {
        return std::distance(fs::directory_iterator(store.path()), {}) == 2;
    })) << "the recording of the controller that left";
}

TEST_F(stalled_disk_test, interrupt_finishes_a_file_that_is_being_opened) {
    harness::controller other(daemon->socket_path());
    {
        const stalled_workers stalled(daemon->pid());
        control->send("new wav_stream w r\n");
        EXPECT_EQ(other.command("recover"), "RECOVER_OK"); // a later turn
        ::kill(daemon->pid(), SIGINT);
        EXPECT_TRUE(!control->read_line() && control->ended());
    }
    EXPECT_EQ(daemon->stop(), 0);
    EXPECT_EQ(std::distance(fs::directory_iterator(directory.path()), {}), 1) << "the sound";
    EXPECT_EQ(std::distance(fs::directory_iterator(store.path()), {}), 1);
}

TEST_F(stalled_disk_test, sound_file_pauses_and_goes_on) {
    auto legs = new_call({"PCMU"});
    expect_reply("new sound_stream s " + sound + " loop PCMU", "SUCCESS " + sound + " loop");
    expect_reply("join room s", "SUCCESS");
    EXPECT_TRUE(legs[0].phone.receive());
    std::optional<bytes> last, next;
    {
        const stalled_workers stalled(daemon->pid());
        while ((next = legs[0].phone.receive(100ms))) { // what has been read ahead
            last = next;
        }
        EXPECT_EQ(control->command("recover"), "RECOVER_OK");
    }
    ASSERT_TRUE(last);
    next = legs[0].phone.receive();
    ASSERT_TRUE(next);
    const auto before = harness::parse_rtp(*last), after = harness::parse_rtp(*next);
    EXPECT_EQ(after.sequence, before.sequence + 1);
    EXPECT_GE(after.timestamp, before.timestamp + 5 * 160) << "the pause takes its time";
}

} // namespace vocalink::system_tests
