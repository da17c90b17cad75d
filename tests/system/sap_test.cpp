// SPDX-License-Identifier: GPL-3.0-or-later
// Announcements, in a network of the test's own: nothing is multicast on the machine's.
#include "system_test.hpp"

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>

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

    /** Holds every field of an announcement (RFC 2974, RFC 4566) against what it is to be.
     *  @return the session's id */
    std::uint32_t check(const bytes& packet, const std::string& type, const std::string& codec) {
        EXPECT_EQ(bytes(packet.begin(), packet.begin() + 2), (bytes{0x20, 0}));
        const std::string text(packet.begin() + 4, packet.end()); // behind the hash
        const std::string before_sdp("\xC0\x00\x02\x07"
                                     "application/sdp\0",
                                     20);
        EXPECT_TRUE(text.starts_with(before_sdp));
        std::uint32_t session = 0;
        long long begin = 0; // NTP
        std::sscanf(text.c_str() + before_sdp.size(),
                    "v=0 o=vocalink %u 0 IN IP4 %*s s=%*[^\n] c=IN IP4 %*s t=%lld", &session,
                    &begin);
        EXPECT_LE(std::abs(begin - 2208988800 - std::time(nullptr)), 2) << text;
        EXPECT_EQ(text.substr(before_sdp.size()),
                  "v=0\no=vocalink " + std::to_string(session) + " 0 IN IP4 " + local_ip +
                      "\ns=radio, (1)\nc=IN IP4 239.1.2.3\nt=" + std::to_string(begin) +
                      " 0\na=recvonly\nm=audio 5004 RTP/AVP " + type + "\na=rtpmap:" + type + " " +
                      codec + "/8000\na=type:broadcast\n");
        return session;
    }

    util::unique_fd network_before{::open("/proc/self/ns/net", O_RDONLY | O_CLOEXEC)};
};

TEST_F(sap_test, stream_is_announced_at_once_every_five_seconds_and_at_its_end) {
    run("ip route add 224.0.0.0/4 dev lo");
    harness::rtp_peer announced = listener("224.0.0.56", 9875), audio = listener("239.1.2.3", 5004);
    auto legs = new_call({"PCMU", "PCMU"});
    const std::tuple<std::string, const char*, const char*> rows[] = {{"PCMU", "0", "PCMU"},
                                                                      {"G711A", "8", "PCMA"},
                                                                      {"G722", "9", "G722"},
                                                                      {"G729", "18", "G729"},
                                                                      {"ILBC30", "109", "iLBC"}};
    for (const auto& [encoding, type, codec] : rows) {
        control->command("new rtp_stream \"radio, (1)\" " + local_ip + " 239.1.2.3 5004 " +
                         encoding);
        bytes packet = announced.receive(1000ms).value();
        const std::uint32_t session = check(packet, type, codec);
        if (encoding == "PCMU") {
            const auto begin = std::chrono::steady_clock::now();
            EXPECT_EQ(announced.receive(7s), packet);
            EXPECT_GT(std::chrono::steady_clock::now() - begin, 4800ms);
            expect_reply("join room \"radio, (1)\"", "SUCCESS");
            std::uint32_t source = 0;
            std::memcpy(&source, &audio.receive().value().at(8), sizeof source);
            EXPECT_EQ(session, source);
        }
        control->command("delete stream \"radio, (1)\"");
        packet[0] = 0x24;
        EXPECT_EQ(announced.receive(), packet);
    }
}

TEST_F(sap_test, without_a_way_to_the_group_nothing_is_left_behind) {
    const auto open_descriptors = [this] {
        namespace fs = std::filesystem;
        const fs::directory_iterator all("/proc/" + std::to_string(daemon->pid()) + "/fd");
        return std::distance(begin(all), end(all));
    };
    const auto before = open_descriptors();
    expect_reply("new rtp_stream a " + local_ip + " 239.1.2.3 5004 PCMU",
                 "ERROR STREAM_ERROR could not connect SAP socket");
    EXPECT_EQ(open_descriptors(), before);
    EXPECT_EQ(occurrences(daemon->log(), "goodbye"), 0);
    EXPECT_EQ(occurrences(daemon->log(),
                          "-- stream(a): could not connect SAP socket: Network is unreachable\n"),
              1);
    expect_reply(new_stream("a", "PCMU"), "SUCCESS 6000 " + local_ip);
}

} // namespace vocalink::system_tests
