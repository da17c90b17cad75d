// SPDX-License-Identifier: GPL-3.0-or-later
// The daemon's file descriptors: their limit, their want and their end.
#include "system_test.hpp"

#include <future>

#include <fcntl.h>
#include <sys/resource.h>
#include <time.h>

namespace vocalink::system_tests {

using descriptor_test = system_test;

namespace {

fs::directory_iterator descriptors_of(pid_t pid) {
    return fs::directory_iterator("/proc/" + std::to_string(pid) + "/fd");
}

double cpu_seconds(pid_t pid) {
    clockid_t clock{};
    timespec used{};
    EXPECT_TRUE(::clock_getcpuclockid(pid, &clock) == 0 && ::clock_gettime(clock, &used) == 0);
    return static_cast<double>(used.tv_sec) + static_cast<double>(used.tv_nsec) / 1e9;
}

} // namespace

TEST_F(descriptor_test, limit_is_raised_and_nothing_leaks) {
    rlimit own{};
    ::getrlimit(RLIMIT_NOFILE, &own);
    rlimit raised{64, own.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &raised), 0);
    start();
    ::setrlimit(RLIMIT_NOFILE, &own);
    ASSERT_EQ(::prlimit(daemon->pid(), RLIMIT_NOFILE, nullptr, &raised), 0);
    EXPECT_EQ(raised.rlim_cur, own.rlim_max);
    expect_reply(new_stream("a", "PCMU"), "SUCCESS 6000 " + local_ip);
    for (const auto& entry : descriptors_of(daemon->pid())) {
        const std::string target = fs::read_symlink(entry);
        std::string path = entry.path();
        const std::string info = content(path.insert(path.rfind('/'), "info"));
        const auto flags = std::stoul(info.substr(info.find("flags:") + 6), nullptr, 8);
        // Files and pipes may come from whoever runs the tests.
        EXPECT_TRUE(target[0] == '/' || target.starts_with("pipe:") || (flags & O_CLOEXEC) != 0)
            << entry << " " << target;
    }
    const auto open_now = [&] { return std::distance(descriptors_of(daemon->pid()), {}); };
    const auto before = open_now();
    for (int i = 0; i < 200; ++i) {
        harness::controller passing(daemon->socket_path());
        EXPECT_EQ(passing.command("new vocalink room"), "SUCCESS");
        EXPECT_TRUE(passing.command(new_stream("s", "G729")).starts_with("SUCCESS"));
        EXPECT_EQ(passing.command("join room s"), "SUCCESS");
    }
    EXPECT_TRUE(eventually([&] { return open_now() == before; })) << open_now();
}

TEST_F(descriptor_test, want_of_descriptors_refuses_waits_and_passes) {
    start();
    // A sanitizer opens a pipe of its own when it meets a type for the first time: here it can.
    expect_reply(new_stream("s", "PCMU"), "SUCCESS 6000 " + local_ip);
    expect_reply("delete stream s", "SUCCESS incoming_packets=0 outgoing_packets=0");
    const auto few = static_cast<rlim_t>(std::distance(descriptors_of(daemon->pid()), {})) + 4;
    const rlimit limit{few, few};
    ASSERT_EQ(::prlimit(daemon->pid(), RLIMIT_NOFILE, &limit, nullptr), 0);
    std::string id = "s";
    std::string reply;
    while ((reply = control->command(new_stream(id, "PCMU"))).starts_with("SUCCESS")) {
        id += "s";
    }
    EXPECT_EQ(reply, "ERROR STREAM_ERROR Could not allocate socket");
    const double cpu_before = cpu_seconds(daemon->pid());
    auto late = std::async(std::launch::async,
                           [this] { return harness::controller(daemon->socket_path()); });
    EXPECT_EQ(late.wait_for(500ms), std::future_status::timeout) << "greeted without a descriptor";
    EXPECT_LT(cpu_seconds(daemon->pid()) - cpu_before, 0.1);
    expect_reply("delete stream s", "SUCCESS incoming_packets=0 outgoing_packets=0");
    EXPECT_EQ(late.get().command("recover"), "RECOVER_OK");
}

} // namespace vocalink::system_tests
