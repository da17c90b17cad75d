// SPDX-License-Identifier: GPL-3.0-or-later
// What every system test starts from: a daemon, a controller and telephones.
#pragma once

#include "harness/controller.hpp"
#include "harness/daemon_process.hpp"
#include "harness/rtp_peer.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <set>
#include <sstream>
#include <thread>

namespace vocalink::system_tests {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using bytes = std::vector<std::uint8_t>;
using harness::eventually;

constexpr int pcmu = 0;
constexpr int g729 = 18;
constexpr int telephone_event = 101;

/** Uniformly distributed bytes, the same for the same seed. */
inline bytes random_bytes(std::size_t count, unsigned seed) {
    std::minstd_rand random(seed + 1);
    bytes made(count);
    std::generate(made.begin(), made.end(), [&] { return random() >> 8; });
    return made;
}

/** One frame of 20 ms in PCMU. */
inline const bytes speech = random_bytes(160, 1);

/** The library that changes the system for a program into which it is preloaded; empty where that
 *  cannot be. */
#ifdef VOCALINK_CHANGED_SYSTEM
constexpr const char* changed_system = VOCALINK_CHANGED_SYSTEM;
#else
constexpr const char* changed_system = "";
#endif

/** How often part stands in text. */
inline int occurrences(const std::string& text, const std::string& part) {
    int count = 0;
    for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        count += 1;
    }
    return count;
}

/** What the file holds now. */
inline std::string content(const std::string& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

/** One party of a call: a telephone, and the stream of the daemon that serves it. */
struct leg {
    std::string id;             ///< of the stream
    harness::rtp_peer phone;    ///< on the same address as the stream
    std::uint16_t port = 0;     ///< local port of the stream
    std::uint16_t sequence = 0; ///< of the packet sent last

    /** Sends a datagram of any bytes to the stream. */
    void send(const bytes& datagram) { phone.send_to(phone.ip(), port, datagram); }

    /** Sends a packet with the next sequence number. @return its bytes */
    bytes send(int payload_type, const bytes& payload, bool marker = false) {
        sequence += 1;
        bytes packet = harness::rtp_packet_bytes(payload_type, sequence, 160U * sequence,
                                                 phone.port(), payload, marker);
        send(packet);
        return packet;
    }

    /** The next packet that the telephone gets; its payload is valid until the next call. */
    harness::rtp_view next() {
        received = phone.receive().value();
        return harness::parse_rtp(received);
    }
    bytes received{}; ///< by next()

    /** Takes away what the telephone has received until now. */
    void forget_received() {
        while (phone.receive(0ms)) {
        }
    }
};

/** Gives each test a local address of its own in 127.0.0.0/8, in parts of three digits, on which the daemon's ports start at
 *  6000. At the end the daemon must stop with status 0, without a word from a sanitizer. */
class system_test : public ::testing::Test {
  protected:
    system_test() {
        const auto* test = ::testing::UnitTest::GetInstance()->current_test_info();
        std::mt19937 random(static_cast<unsigned>(::getpid() * 1000 + test->line()));
        for (int i = 0; i < 3; ++i) {
            local_ip.append(".").append(std::to_string(100 + random() % 128));
        }
    }

    /** Starts the daemon and connects the first controller, to the path or where the harness put
     *  the socket. */
    void start(const std::vector<std::string>& arguments = {}, const std::string& path = {}) {
        daemon.emplace(arguments);
        control.emplace(path.empty() ? daemon->socket_path() : path);
    }

    void TearDown() override {
        ASSERT_TRUE(daemon) << "it did not start";
        EXPECT_EQ(daemon->stop(), 0) << daemon->log();
        const std::string log = daemon->log();
        EXPECT_EQ(occurrences(log, "Sanitizer") + occurrences(log, "runtime error"), 0) << log;
    }

    /** The daemon's executable, to be started once more. */
    std::string program() const { return "/proc/" + std::to_string(daemon->pid()) + "/exe"; }

    void expect_reply(const std::string& command, const std::string& reply) {
        EXPECT_EQ(control->command(command), reply) << "to the command: " << command;
    }

    /** The command that creates a stream whose remote end is on the same address. */
    std::string new_stream(const std::string& id, const std::string& encoding,
                           int remote_port = 9) {
        return "new rtp_stream " + id + " " + local_ip + " " + local_ip + " " +
               std::to_string(remote_port) + " " + encoding;
    }

    /** Creates a telephone and its stream, which is in no bridge. */
    leg new_leg(const std::string& id, const std::string& encoding) {
        leg made{.id = id, .phone = harness::rtp_peer(local_ip)};
        const std::string reply = control->command(new_stream(id, encoding, made.phone.port()));
        made.port = harness::port_in_reply(reply);
        return made;
    }

    /** Joins new legs a, b, c... of these encodings in a new bridge named room. */
    std::vector<leg> new_call(const std::vector<std::string>& encodings) {
        std::vector<leg> legs;
        expect_reply("new vocalink room", "SUCCESS");
        for (const std::string& encoding : encodings) {
            legs.push_back(new_leg(std::string(1, "abcde"[legs.size()]), encoding));
            expect_reply("join room " + legs.back().id, "SUCCESS");
        }
        return legs;
    }

    std::string local_ip = "127";
    std::optional<harness::daemon_process> daemon;
    std::optional<harness::controller> control;
};

/** A system test whose daemon has been started with the usual options. */
class running_daemon_test : public system_test {
  protected:
    void SetUp() override { start(); }
};

} // namespace vocalink::system_tests
