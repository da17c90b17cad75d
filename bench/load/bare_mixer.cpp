// SPDX-License-Identifier: GPL-3.0-or-later
// A mixing loop of two system calls a member and cycle and the arithmetic between them.
#include "load/bare_mixer.hpp"

#include "load/bare_ulaw.hpp"
#include "load/child_process.hpp"
#include "load/packet_socket.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>
#include <vector>

#include <sys/timerfd.h>
#include <unistd.h>

namespace vocalink::bench {

namespace {

constexpr std::size_t frame_samples = pcmu_payload_bytes;
constexpr long cycle_ns = 30'000'000;

struct leg {
    util::unique_fd fd;
    sockaddr_in remote{};
    std::uint16_t sequence = 0;
    std::array<std::int16_t, frame_samples> incoming{};
};

using frame_sum = std::array<std::int32_t, frame_samples>;

void read_and_add(leg& from, frame_sum& sum) {
    packet in; // filled by the kernel
    socklen_t length = sizeof from.remote;
    const ssize_t bytes = recvfrom(from.fd.get(), in.data(), in.size(), 0,
                                   reinterpret_cast<sockaddr*>(&from.remote), &length);
    if (bytes != static_cast<ssize_t>(in.size())) {
        from.incoming.fill(0);
        return;
    }
    ulaw_decode(in.data() + rtp_header_bytes, from.incoming.data(), frame_samples);
    for (std::size_t i = 0; i < frame_samples; ++i) {
        sum[i] += from.incoming[i];
    }
}

void send_others(leg& to, std::uint32_t ssrc, const frame_sum& sum) {
    std::array<std::int16_t, frame_samples> heard; // filled below
    for (std::size_t i = 0; i < frame_samples; ++i) {
        heard[i] = static_cast<std::int16_t>(
            std::clamp<std::int32_t>(sum[i] - to.incoming[i], INT16_MIN, INT16_MAX));
    }
    packet out; // filled below
    write_rtp_header(out, ++to.sequence, ssrc);
    ulaw_encode(heard.data(), out.data() + rtp_header_bytes, frame_samples);
    sendto(to.fd.get(), out.data(), out.size(), 0, reinterpret_cast<const sockaddr*>(&to.remote),
           sizeof to.remote);
}

util::unique_fd start_cycle_timer() {
    util::unique_fd timer(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC));
    const itimerspec every{{0, cycle_ns}, {0, cycle_ns}};
    if (!timer || timerfd_settime(timer.get(), 0, &every, nullptr) != 0) {
        throw std::system_error(errno, std::generic_category(), "timerfd");
    }
    return timer;
}

} // namespace

void run_bare_mixer(std::size_t legs, const sockaddr_in& remote, int report_fd) {
    std::vector<leg> all(legs);
    std::vector<std::uint16_t> ports(legs);
    for (std::size_t i = 0; i < legs; ++i) {
        all[i].fd = open_leg_socket(ports[i]);
        all[i].remote = remote;
    }
    const util::unique_fd timer = start_cycle_timer();
    report_ports(report_fd, ports);

    for (;;) {
        std::uint64_t expiries = 0;
        if (read(timer.get(), &expiries, sizeof expiries) < 0) {
            continue;
        }
        frame_sum sum{};
        for (leg& from : all) {
            read_and_add(from, sum);
        }
        std::uint32_t ssrc = 0;
        for (leg& to : all) {
            send_others(to, ++ssrc, sum);
        }
    }
}

} // namespace vocalink::bench
