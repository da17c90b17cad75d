// SPDX-License-Identifier: GPL-3.0-or-later
// Sending, receiving and reading RTP packets.
#include "harness/rtp_peer.hpp"

#include <array>
#include <cerrno>
#include <stdexcept>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

namespace vocalink::harness {

namespace {

sockaddr_in socket_address(const std::string& ip, std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    if (::inet_pton(AF_INET, ip.c_str(), &address.sin_addr) != 1) {
        throw std::runtime_error("not an IPv4 address: " + ip);
    }
    return address;
}

std::uint32_t big_endian(std::span<const std::uint8_t> bytes) {
    std::uint32_t value = 0;
    for (const std::uint8_t byte : bytes) {
        value = value << 8 | byte;
    }
    return value;
}

} // namespace

rtp_peer::rtp_peer(const std::string& ip, std::uint16_t port)
    : socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)), bound_ip(ip) {
    sockaddr_in address = socket_address(ip, port);
    socklen_t address_bytes = sizeof address;
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    if (socket.get() < 0 || ::bind(fd(), generic, address_bytes) != 0 ||
        ::getsockname(fd(), generic, &address_bytes) != 0) {
        throw_system_error("cannot bind a UDP socket to " + ip + ":" + std::to_string(port));
    }
    bound_port = ntohs(address.sin_port);
}

void rtp_peer::send_to(const std::string& ip, std::uint16_t port,
                       std::span<const std::uint8_t> bytes) {
    const sockaddr_in address = socket_address(ip, port);
    ssize_t sent = -1;
    do {
        sent = ::sendto(fd(), bytes.data(), bytes.size(), 0,
                        reinterpret_cast<const sockaddr*>(&address), sizeof address);
    } while (sent < 0 && errno == EINTR);
    if (sent != static_cast<ssize_t>(bytes.size())) {
        throw_system_error("cannot send " + std::to_string(bytes.size()) + " bytes to " + ip + ":" +
                           std::to_string(port));
    }
}

std::optional<std::vector<std::uint8_t>> rtp_peer::receive(milliseconds timeout) {
    const deadline until(timeout);
    std::array<std::uint8_t, 65536> bytes;
    while (wait_readable(fd(), until)) {
        const ssize_t got = ::recv(fd(), bytes.data(), bytes.size(), 0);
        if (got >= 0) {
            return std::vector<std::uint8_t>(bytes.begin(), bytes.begin() + got);
        }
        // A refused connection is the echo of an earlier datagram that nobody took.
        if (errno != EINTR && errno != EAGAIN && errno != ECONNREFUSED) {
            throw_system_error("cannot receive on UDP port " + std::to_string(bound_port));
        }
    }
    return std::nullopt;
}

bool rtp_peer::receive_nothing(milliseconds during) {
    return !receive(during);
}

rtp_view parse_rtp(std::span<const std::uint8_t> packet) {
    if (packet.size() < rtp_header_bytes || packet[0] >> 6 != 2) {
        throw std::runtime_error(
            "not an RTP packet of version 2: " + std::to_string(packet.size()) + " bytes");
    }
    return {.payload_type = packet[1] & 0x7F,
            .marker = (packet[1] & 0x80) != 0,
            .sequence = static_cast<std::uint16_t>(big_endian(packet.subspan(2, 2))),
            .timestamp = big_endian(packet.subspan(4, 4)),
            .ssrc = big_endian(packet.subspan(8, 4)),
            .payload = packet.subspan(rtp_header_bytes)};
}

std::vector<std::uint8_t> rtp_packet_bytes(int payload_type, std::uint16_t sequence,
                                           std::uint32_t timestamp, std::uint32_t ssrc,
                                           std::span<const std::uint8_t> payload, bool marker) {
    std::vector<std::uint8_t> packet{
        0x80, static_cast<std::uint8_t>((marker ? 0x80 : 0) | (payload_type & 0x7F))};
    packet.reserve(rtp_header_bytes + payload.size());
    const auto append = [&packet](std::uint32_t value, int field_bytes) {
        for (int byte = field_bytes - 1; byte >= 0; --byte) {
            packet.push_back(static_cast<std::uint8_t>(value >> (8 * byte)));
        }
    };
    append(sequence, 2);
    append(timestamp, 4);
    append(ssrc, 4);
    packet.insert(packet.end(), payload.begin(), payload.end());
    return packet;
}

} // namespace vocalink::harness
