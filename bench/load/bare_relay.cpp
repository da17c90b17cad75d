// SPDX-License-Identifier: GPL-3.0-or-later
// A relay of two system calls a packet and nothing else.
#include "load/bare_relay.hpp"

#include "load/child_process.hpp"

#include <array>
#include <cerrno>
#include <system_error>
#include <vector>

#include <sys/epoll.h>

namespace vocalink::bench {

namespace {

struct leg {
    util::unique_fd fd;
    sockaddr_in remote{};
    leg* partner = nullptr;
};

void relay_one(leg& from) {
    std::array<char, 1500> packet; // filled by the kernel
    socklen_t length = sizeof from.remote;
    const ssize_t bytes = recvfrom(from.fd.get(), packet.data(), packet.size(), 0,
                                   reinterpret_cast<sockaddr*>(&from.remote), &length);
    if (bytes >= 0) {
        sendto(from.partner->fd.get(), packet.data(), static_cast<std::size_t>(bytes), 0,
               reinterpret_cast<const sockaddr*>(&from.partner->remote), sizeof from.remote);
    }
}

} // namespace

void run_bare_relay(std::size_t legs, const sockaddr_in& remote, int report_fd) {
    const util::unique_fd poller(epoll_create1(EPOLL_CLOEXEC));
    std::vector<leg> all(legs);
    std::vector<std::uint16_t> ports(legs);
    for (std::size_t i = 0; i < legs; ++i) {
        all[i].fd = open_leg_socket(ports[i]);
        all[i].remote = remote;
        all[i].partner = &all[i ^ 1U];
        epoll_event interest{EPOLLIN, {.ptr = &all[i]}};
        if (epoll_ctl(poller.get(), EPOLL_CTL_ADD, all[i].fd.get(), &interest) != 0) {
            throw std::system_error(errno, std::generic_category(), "epoll_ctl");
        }
    }
    report_ports(report_fd, ports);

    std::array<epoll_event, 256> events;
    for (;;) {
        const int ready = epoll_wait(poller.get(), events.data(), events.size(), -1);
        for (int i = 0; i < ready; ++i) {
            relay_one(*static_cast<leg*>(events[i].data.ptr));
        }
    }
}

} // namespace vocalink::bench
