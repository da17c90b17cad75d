// SPDX-License-Identifier: GPL-3.0-or-later
// Forking a measured loop and learning its ports.
#include "load/child_process.hpp"

#include "load/packet_socket.hpp"

#include <cerrno>
#include <csignal>
#include <exception>
#include <system_error>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace vocalink::bench {

namespace {

[[noreturn]] void run_child(const std::function<void(int)>& body, int report_fd) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    try {
        body(report_fd);
    } catch (const std::exception&) {
        // The parent sees the end of the report and says so.
    }
    _exit(1);
}

bool read_ports(int fd, std::vector<std::uint16_t>& ports) {
    auto* place = reinterpret_cast<char*>(ports.data());
    std::size_t missing = ports.size() * sizeof ports[0];
    while (missing != 0) {
        const ssize_t count = read(fd, place, missing);
        if (count <= 0) {
            return false;
        }
        place += count;
        missing -= static_cast<std::size_t>(count);
    }
    return true;
}

} // namespace

child_process::child_process(std::size_t legs, const std::function<void(int)>& body) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        throw std::system_error(errno, std::generic_category(), "pipe");
    }
    const util::unique_fd report(ends[0]);
    util::unique_fd child_end(ends[1]);
    started.pid = fork();
    if (started.pid < 0) {
        throw std::system_error(errno, std::generic_category(), "fork");
    }
    if (started.pid == 0) {
        run_child(body, child_end.get());
    }
    child_end.reset();
    started.ports.resize(legs);
    if (!read_ports(report.get(), started.ports)) {
        waitpid(started.pid, nullptr, 0);
        throw std::runtime_error("the bare loop could not set up its sockets");
    }
}

child_process::~child_process() {
    kill(started.pid, SIGKILL);
    waitpid(started.pid, nullptr, 0);
}

void report_ports(int report_fd, const std::vector<std::uint16_t>& ports) {
    const std::size_t bytes = ports.size() * sizeof ports[0];
    if (write(report_fd, ports.data(), bytes) != static_cast<ssize_t>(bytes)) {
        throw std::system_error(errno, std::generic_category(), "report");
    }
}

util::unique_fd open_leg_socket(std::uint16_t& port) {
    util::unique_fd fd(socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    sockaddr_in address = loopback_address(0);
    socklen_t length = sizeof address;
    if (!fd || bind(fd.get(), reinterpret_cast<const sockaddr*>(&address), length) != 0 ||
        getsockname(fd.get(), reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        throw std::system_error(errno, std::generic_category(), "leg socket");
    }
    port = ntohs(address.sin_port);
    return fd;
}

} // namespace vocalink::bench
