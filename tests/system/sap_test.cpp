// SPDX-License-Identifier: GPL-3.0-or-later
// Announcements, in a network of the test's own: nothing is multicast on the machine's.
#include "system_test.hpp"

#include <arpa/inet.h>
#include <fcntl.h>
#include <sched.h>

namespace vocalink::system_tests {

class sap_test : public system_test {
  protected:
    /** Goes with all children into a new network of a loopback device alone; starts the daemon. */
    void SetUp() override {
        const uid_t user = ::geteuid();
        if (::unshare(user == 0 ? CLONE_NEWNET : CLONE_NEWUSER | CLONE_NEWNET) != 0) {
            GTEST_SKIP() << "needs leave to make a network of its own";
        }
        if (user != 0) { // else no program started from here may change the network
            std::ofstream("/proc/self/uid_map") << "0 " << user << " 1";
        }
        run("ip link set lo up multicast on");
        run("ip address add 192.0.2.7 dev lo");
        start();
    }
    void TearDown() override {
        if (daemon) {
            system_test::TearDown();
            [[maybe_unused]] const int back = ::setns(network_before.get(), CLONE_NEWNET);
        }
    }
    static void run(const char* command) { ASSERT_EQ(std::system(command), 0) << command; }

    static harness::rtp_peer listener(const std::string& group, std::uint16_t port) {
        harness::rtp_peer made(group, port);
        const ip_mreq joined{{::inet_addr(group.c_str())}, {::inet_addr("127.0.0.1")}};
        ::setsockopt(made.fd(), IPPROTO_IP, IP_ADD_MEMBERSHIP, &joined, sizeof joined);
        return made;
    }

    util::unique_fd network_before{::open("/proc/self/ns/net", O_RDONLY | O_CLOEXEC)};
};

TEST_F(sap_test, stream_is_announced_at_once_every_five_seconds_and_at_its_end) {
    run("ip route add 224.0.0.0/4 dev lo");
    harness::rtp_peer announced = listener("224.0.0.56", 9875), audio = listener("239.1.2.3", 5004);
    new_call({"PCMU", "PCMU"});
    expect_reply("new rtp_stream radio " + local_ip + " 239.1.2.3 5004 G711A",
                 "SUCCESS 6004 " + local_ip);
    bytes packet = announced.receive(1000ms).value();
    const auto begin = std::chrono::steady_clock::now();
    const std::string text(packet.begin() + 4, packet.end()); // behind flags and hash
    const std::string before_sdp("\xC0\x00\x02\x07"
                                 "application/sdp\0v=0\no=vocalink ",
                                 35);
    EXPECT_EQ(text.substr(0, before_sdp.size()), before_sdp);
    EXPECT_NE(text.find("\nm=audio 5004 RTP/AVP 8\n"), std::string::npos) << text;
    const auto session_ntp = std::stoll(text.substr(text.find("\nt=") + 3));
    EXPECT_LE(std::abs(session_ntp - 2208988800 - std::time(nullptr)), 2);
    expect_reply("join room radio", "SUCCESS");
    std::uint32_t source = 0; // which names the session
    std::memcpy(&source, &audio.receive().value().at(8), sizeof source);
    EXPECT_EQ(std::stoul(text.substr(before_sdp.size())), source);
    EXPECT_EQ(announced.receive(7s), packet);
    EXPECT_GT(std::chrono::steady_clock::now() - begin, 4800ms);
    EXPECT_TRUE(control->command("delete stream radio").starts_with("SUCCESS"));
    packet[0] = 0x24;
    EXPECT_EQ(announced.receive(), packet);
}

} // namespace vocalink::system_tests
