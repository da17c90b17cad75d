// SPDX-License-Identifier: GPL-3.0-or-later
// Talking to the control socket line by line.
#include "harness/controller.hpp"

#include <algorithm>
#include <array>
#include <cstdio>
#include <stdexcept>

#include <sys/socket.h>
#include <sys/un.h>

namespace vocalink::harness {

namespace {

util::unique_fd connected_socket(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1); // cut short it cannot be connected
    util::unique_fd connected(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!connected || ::connect(connected.get(), reinterpret_cast<const sockaddr*>(&address),
                                sizeof address) != 0) {
        throw_system_error("cannot connect to control socket " + path);
    }
    return connected;
}

} // namespace

controller::controller(const std::string& socket_path) : socket(connected_socket(socket_path)) {
    std::optional<std::string> line = read_line();
    if (!line) {
        throw std::runtime_error("no greeting on control socket " + socket_path);
    }
    first_line = *std::move(line);
}

std::string controller::command(const std::string& line, milliseconds timeout) {
    send(line + "\n");
    const deadline until = ends_after(timeout);
    while (std::optional<std::string> got = next_line(until)) {
        if (!is_notice(*got)) {
            return *std::move(got);
        }
        notices.push_back(*std::move(got));
    }
    throw std::runtime_error("expected a reply to \"" + line + "\", but " +
                             (end_of_file ? "the daemon closed the connection" : "none came"));
}

std::optional<std::string> controller::notice(milliseconds timeout) {
    if (!notices.empty()) {
        std::string oldest = std::move(notices.front());
        notices.pop_front();
        return oldest;
    }
    std::optional<std::string> line = read_line(timeout);
    if (line && !is_notice(*line)) {
        throw std::runtime_error("expected a notice, but a reply came: \"" + *line + "\"");
    }
    return line;
}

void controller::send(std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t sent = ::send(fd(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent < 0) {
            throw_system_error("cannot write to the control socket");
        }
        bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
}

std::optional<std::string> controller::next_line(deadline until) {
    std::size_t newline = 0;
    while ((newline = unread.find('\n')) == std::string::npos) {
        if (end_of_file || !wait_readable(fd(), until)) {
            return std::nullopt;
        }
        std::array<char, 16384> bytes;
        const ssize_t got = ::recv(fd(), bytes.data(), bytes.size(), 0);
        end_of_file = got <= 0; // a reset connection has ended too
        unread.append(bytes.data(), static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
    }
    std::string line = unread.substr(0, newline);
    unread.erase(0, newline + 1);
    return line;
}

bool is_notice(std::string_view line) {
    return line.empty() || line.starts_with("DTMF_") || line.starts_with("TIMEOUT") ||
           line.starts_with("CODE DETECT") || line.starts_with("TONE ") || line.starts_with("REC_");
}

std::uint16_t port_in_reply(const std::string& reply) {
    unsigned port = 0;
    if (std::sscanf(reply.c_str(), "SUCCESS %u ", &port) != 1 || port == 0 || port > 0xFFFF) {
        throw std::runtime_error("expected \"SUCCESS port address\", got \"" + reply + "\"");
    }
    return static_cast<std::uint16_t>(port);
}

} // namespace vocalink::harness
