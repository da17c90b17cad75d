// SPDX-License-Identifier: GPL-3.0-or-later
// The order in which local RTP ports are tried.
#include "rtp/rtp_ports.hpp"

#include <charconv>

#include <netinet/in.h>

namespace vocalink {

namespace {

constexpr int highest_port = 65535;

/** @return 0 for anything but the digits of a port */
int port_of(std::string_view text) {
    int port = 0;
    const char* const end = text.data() + text.size();
    const auto read = std::from_chars(text.data(), end, port);
    return read.ec == std::errc() && read.ptr == end && port > 0 && port <= highest_port ? port : 0;
}

} // namespace

std::optional<port_range> parse_port_range(std::string_view text) {
    const auto dash = text.find('-');
    if (dash == std::string_view::npos) {
        return std::nullopt;
    }
    const int first = port_of(text.substr(0, dash));
    const int last = port_of(text.substr(dash + 1));
    const port_range even{first + first % 2, last - last % 2};
    return first > 0 && even.first <= even.last ? std::optional(even) : std::nullopt;
}

void held_ports::give_back(std::uint32_t address, int port) {
    const auto found = blocks.find(place(address, port));
    if (found->second.reset(bit(port)).none()) {
        blocks.erase(found);
    }
}

bool held_ports::collide(std::uint32_t address, int port) const {
    return holds(address, port) || holds(INADDR_ANY, port);
}

bool held_ports::holds(std::uint32_t address, int port) const {
    const auto found = blocks.find(place(address, port));
    return found != blocks.end() && found->second.test(bit(port));
}

} // namespace vocalink
