// SPDX-License-Identifier: GPL-3.0-or-later
// Two system calls a packet, and for the mixer the arithmetic between them.
#include "load/bare_loops.hpp"

#include "audio/g711.hpp"
#include "load/load_socket.hpp"
#include "util/unique_fd.hpp"

#include <algorithm>
#include <array>

#include <sys/epoll.h>
#include <sys/prctl.h>
#include <sys/timerfd.h>
#include <sys/wait.h>
#include <unistd.h>

namespace vocalink::bench {

namespace {

constexpr std::size_t frame_samples = payload_bytes;
constexpr long mix_cycle_ns = 30'000'000;
constexpr long tick_ns = 20'000'000;

using frame = std::array<short, frame_samples>;
using frame_sum = std::array<std::int32_t, frame_samples>;

ssize_t receive(bare_leg& from, packet& in) {
    socklen_t length = sizeof from.remote;
    return recvfrom(from.fd, in.data(), in.size(), 0, reinterpret_cast<sockaddr*>(&from.remote),
                    &length);
}

void send(const bare_leg& to, const packet& out, std::size_t bytes) {
    sendto(to.fd, out.data(), bytes, 0, reinterpret_cast<const sockaddr*>(&to.remote),
           sizeof to.remote);
}

/** @return whether a whole packet was read */
bool read_frame(bare_leg& from, frame& incoming) {
    packet in; // filled by the kernel
    if (receive(from, in) != static_cast<ssize_t>(in.size())) {
        return false;
    }
    ulaw2linear(reinterpret_cast<const char*>(&in[harness::rtp_header_bytes]), incoming.data(),
                frame_samples);
    return true;
}

void send_others(const bare_leg& to, std::uint16_t cycle, const frame& own, const frame_sum& sum) {
    frame heard; // filled below
    for (std::size_t i = 0; i < frame_samples; ++i) {
        heard[i] = static_cast<short>(std::clamp(sum[i] - own[i], INT16_MIN, INT16_MAX));
    }
    packet out; // filled below
    harness::write_rtp_header(std::span(out).first<harness::rtp_header_bytes>(), 0, cycle,
                              cycle * std::uint32_t{frame_samples}, 1);
    linear2ulaw(heard.data(), reinterpret_cast<char*>(&out[harness::rtp_header_bytes]),
                frame_samples);
    send(to, out, out.size());
}

/** @param room   legs that hear each other
 *  @param empty  read each leg until nothing is left, instead of once */
[[noreturn]] void mix_rooms(std::vector<bare_leg>& legs, std::size_t room, long cycle_ns,
                            bool empty) {
    const util::unique_fd timer(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC));
    const itimerspec every{{0, cycle_ns}, {0, cycle_ns}};
    timerfd_settime(timer.get(), 0, &every, nullptr);
    std::vector<frame> incoming(legs.size());
    for (std::uint16_t cycle = 0;; ++cycle) {
        std::uint64_t expiries = 0;
        (void)!read(timer.get(), &expiries, sizeof expiries);
        for (std::size_t begin = 0; begin < legs.size(); begin += room) {
            const std::size_t end = std::min(begin + room, legs.size());
            frame_sum sum{};
            for (std::size_t i = begin; i < end; ++i) {
                incoming[i].fill(0);
                while (read_frame(legs[i], incoming[i]) && empty) {
                }
                for (std::size_t sample = 0; sample < frame_samples; ++sample) {
                    sum[sample] += incoming[i][sample];
                }
            }
            for (std::size_t i = begin; i < end; ++i) {
                send_others(legs[i], cycle, incoming[i], sum);
            }
        }
    }
}

} // namespace

void relay_for_ever(std::vector<bare_leg>& legs, std::size_t) {
    const util::unique_fd poller(epoll_create1(EPOLL_CLOEXEC));
    for (std::size_t i = 0; i < legs.size(); ++i) {
        epoll_event interest{EPOLLIN, {.u64 = i}};
        epoll_ctl(poller.get(), EPOLL_CTL_ADD, legs[i].fd, &interest);
    }
    for (std::array<epoll_event, 256> events;;) {
        const int ready = epoll_wait(poller.get(), events.data(), events.size(), -1);
        for (int i = 0; i < ready; ++i) {
            const std::size_t leg = events[static_cast<std::size_t>(i)].data.u64;
            packet bytes; // filled by the kernel
            if (const ssize_t count = receive(legs[leg], bytes); count >= 0) {
                send(legs[leg ^ 1U], bytes, static_cast<std::size_t>(count));
            }
        }
    }
}

void mix_for_ever(std::vector<bare_leg>& legs, std::size_t room) {
    mix_rooms(legs, room, mix_cycle_ns, false);
}

void confer_for_ever(std::vector<bare_leg>& legs, std::size_t room) {
    mix_rooms(legs, room, tick_ns, true);
}

bare_loop::bare_loop(loop_body* body, std::size_t legs, std::size_t room,
                     std::uint16_t remote_port) {
    std::vector<harness::rtp_peer> peers(legs); // the child keeps its copies of the descriptors
    std::vector<bare_leg> bare_legs;
    for (const harness::rtp_peer& peer : peers) {
        started.ports.push_back(peer.port());
        bare_legs.push_back({peer.fd(), harness::socket_address(peer.ip(), remote_port)});
    }
    started.pid = fork();
    if (started.pid < 0) {
        harness::throw_system_error("cannot fork");
    }
    if (started.pid == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        body(bare_legs, room);
    }
    pin(started.pid, role::server);
}

bare_loop::~bare_loop() {
    kill(started.pid, SIGKILL);
    waitpid(started.pid, nullptr, 0);
}

} // namespace vocalink::bench
