// SPDX-License-Identifier: GPL-3.0-or-later
// Start and stop of the process, its options, and bridges that end because nothing happens.
#include "system_test.hpp"

#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>

namespace vocalink::system_tests {

using daemon_test = system_test;

TEST_F(daemon_test, replaces_a_stale_socket_and_ends_open_calls_in_order) {
    const harness::temporary_directory directory;
    const std::string path = directory.path() + "/control";
    std::ofstream(path) << "left behind";
    start({"-s", path}, path);
    harness::controller(path).close();
    EXPECT_TRUE(daemon->wait_for_log("(2): eof received\n-- connection(2): terminated\n"));
    const harness::controller third(path);
    auto legs = new_call({"PCMU", "G729", "ILBC30"});
    ASSERT_TRUE(legs[0].phone.receive()); // the conference is running
    ::kill(daemon->pid(), SIGPIPE);       // as a player that goes would send
    expect_reply("recover", "RECOVER_OK");
    siginfo_t ended{};
    while (ended.si_pid == 0) { // a storm of signals does not cut the end short
        ::kill(daemon->pid(), SIGTERM);
        ::kill(daemon->pid(), SIGINT);
        ::waitid(P_PID, static_cast<id_t>(daemon->pid()), &ended, WEXITED | WNOHANG | WNOWAIT);
    }
    EXPECT_EQ(daemon->stop(), 0);
    const std::string log = daemon->log();
    std::size_t at = 0;
    for (const char* line :
         {" received\n-- main: shutting down\n", "-- bridge(room): stream(a) removed.\n",
          "-- stream(a): tolvey destroyed\n", "-- stream(c): tolvey destroyed\n",
          "-- bridge(room): destroyed\n",
          "-- connection(1): terminated\n-- connection(3): terminated\n",
          "-- main: shutdown complete.\n-- main: exiting event loop\n"}) {
        at = log.find(line, at);
        ASSERT_NE(at, std::string::npos) << "expected here: " << line << log;
    }
    EXPECT_TRUE(log.ends_with("-- main: exiting event loop\n"));
    EXPECT_FALSE(fs::exists(path));
    EXPECT_TRUE(!control->read_line() && control->ended());
}

TEST_F(daemon_test, cuts_a_long_socket_path_where_it_binds_but_not_where_it_unlinks) {
    const harness::temporary_directory directory;
    const std::string path = directory.path() + "/" + std::string(120, 'x');
    start({"-s", path}, path.substr(0, 107));
    std::ofstream(path) << "in the way";
    EXPECT_EQ(daemon->stop(), 0);
    EXPECT_FALSE(fs::exists(path));
    EXPECT_TRUE(fs::exists(path.substr(0, 107)));
    start({"-s", path}, path.substr(0, 107)); // in the place of what was left
}

TEST_F(daemon_test, ends_at_start_when_its_socket_its_ports_or_a_thread_cannot_be) {
    start();
    const std::string log = daemon->directory_path() + "/log", out = log + "2";
    std::vector<std::pair<std::string, std::string>> rows{
        {program() + " -s " + log + "/x", "20 when binding to listen socket: Not a directory\n"},
        {program() + " -s " + out + ".socket -p 7001-7001",
         "22 in the port range 7001-7001: Invalid argument\n"}};
    for (int threads = 0; *changed_system != 0 && threads < 4; ++threads) {
        rows.emplace_back(std::string("LD_PRELOAD=") + changed_system +
                              " VOCALINK_TEST_THREADS=" + std::to_string(threads) + " timeout 5 " +
                              program() + " -s " + out + ".socket",
                          "11 starting ");
    }
    for (const auto& [command, text] : rows) {
        EXPECT_EQ(WEXITSTATUS(std::system((command + " > " + out + " 2>&1").c_str())), 1);
        EXPECT_EQ(occurrences(content(out), "-- main: fatal error " + text), 1) << command;
    }
}

TEST_F(daemon_test, second_daemon_takes_the_socket_and_keeps_it_when_the_first_ends) {
    harness::daemon_process first;
    start({"-s", first.socket_path()}, first.socket_path());
    EXPECT_EQ(occurrences(daemon->log(), "-- main: a daemon that still runs listens on " +
                                             first.socket_path() + ", taking its place\n"),
              1);
    EXPECT_EQ(first.stop(), 0);
    harness::controller late(first.socket_path());
    EXPECT_EQ(daemon->stop(), 0);
    EXPECT_FALSE(fs::exists(first.socket_path()));
}

/** The socket of a service manager, which starts whom the test starts. */
class service_manager {
  public:
    /** @param name  a path, or "@" and a name in the abstract namespace */
    explicit service_manager(const std::string& name) {
        sockaddr_un address{AF_UNIX, {}};
        name.copy(address.sun_path, sizeof address.sun_path - 1);
        std::replace(address.sun_path, address.sun_path + 1, '@', '\0');
        socket.reset(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
        const auto length = static_cast<socklen_t>(sizeof address.sun_family + name.size());
        EXPECT_EQ(::bind(socket.get(), reinterpret_cast<sockaddr*>(&address), length), 0);
        ::setenv("NOTIFY_SOCKET", name.c_str(), 1);
        ::setenv("WATCHDOG_USEC", "20000", 1);
    }
    ~service_manager() {
        ::unsetenv("NOTIFY_SOCKET");
        ::unsetenv("WATCHDOG_USEC");
    }

    std::string receive() {
        char text[100];
        const bool came = harness::wait_readable(socket.get(), harness::ends_after(5s));
        const ssize_t got = came ? ::recv(socket.get(), text, sizeof text, 0) : 0;
        return {text, static_cast<std::size_t>(std::max<ssize_t>(got, 0))};
    }

  private:
    util::unique_fd socket;
};

TEST_F(daemon_test, tells_its_service_manager_and_feeds_its_watchdog) {
    const harness::temporary_directory directory;
    for (const std::string& name :
         {directory.path() + "/notify", "@vocalink-" + std::to_string(::getpid())}) {
        service_manager manager(name);
        start();
        EXPECT_EQ(manager.receive(), "READY=1");
        for (int i = 0; i < 2; ++i) {
            EXPECT_EQ(manager.receive(), "WATCHDOG=1");
        }
        EXPECT_EQ(daemon->stop(), 0);
        std::string last;
        while ((last = manager.receive()) == "WATCHDOG=1") {
        }
        EXPECT_EQ(last, "STOPPING=1");
    }
}

TEST_F(daemon_test, empty_bridge_ends_when_its_time_has_passed_whatever_the_wall_clock_does) {
    const harness::temporary_directory directory;
    const std::string step = directory.path() + "/step";
    ::setenv("VOCALINK_TEST_CLOCK_STEP", step.c_str(), 1);
    ::setenv("LD_PRELOAD", changed_system, 1);
    start({"-t", "6"});
    ::unsetenv("LD_PRELOAD");
    new_call({"PCMU"});
    const auto begin = std::chrono::steady_clock::now();
    expect_reply("new vocalink empty", "SUCCESS");
    std::ofstream(step) << "an hour";
    EXPECT_EQ(control->notice(10s), "TIMEOUT BRIDGE empty");
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - begin;
    EXPECT_NEAR(elapsed.count(), 7.0, 1.2);
    EXPECT_EQ(control->notice(), ""); // the notice carries a line end of its own
    EXPECT_FALSE(control->notice(1200ms)) << "the other has a member; checks are a second apart";
    expect_reply("leave room a", "SUCCESS");
    EXPECT_FALSE(control->notice(1200ms)) << "its time begins with the last leave";
}

TEST_F(daemon_test, with_a_sound_directory_nothing_outside_it_is_played) {
    const harness::temporary_directory other;
    const std::string sounds = other.path() + "/sounds";
    fs::create_directories(sounds + "/sub");
    for (const std::string& path : {other.path() + "/outside", sounds + "/inside"}) {
        std::ofstream(path) << std::string(1600, 'x');
    }
    fs::create_symlink(other.path() + "/outside", sounds + "/absolute");
    fs::create_symlink("../../outside", sounds + "/sub/climbing");
    fs::create_symlink("../inside", sounds + "/sub/staying");
    start({"-S", sounds});
    for (const std::string& name :
         {std::string("inside"), sounds + "/inside", std::string("sub/staying")}) {
        expect_reply("new sound_stream a " + name + " loop PCMU", "SUCCESS " + name + " loop");
        control->command("delete stream a");
    }
    for (const std::string& name :
         {other.path() + "/outside", std::string("../outside"), std::string("absolute"),
          std::string("sub/climbing"), std::string("/proc/self/environ")}) {
        expect_reply("new sound_stream a " + name + " loop PCMU",
                     "ERROR STREAM_ERROR Could not open sound file");
    }
}

} // namespace vocalink::system_tests
