// SPDX-License-Identifier: GPL-3.0-or-later
// Sending and receiving datagrams, and the RTP header.
#include "harness/rtp_peer.hpp"

#include <algorithm>
#include <array>
#include <cstring>
#include <stdexcept>

#include <arpa/inet.h>
#include <sys/socket.h>

namespace vocalink::harness {

namespace {

/** The fixed header of RFC 3550 5.1 as it lies in memory. */
struct wire_header {
    std::uint8_t version_and_flags = 0x80;
    std::uint8_t marker_and_type = 0;
    std::uint16_t sequence_be = 0;
    std::uint32_t timestamp_be = 0;
    std::uint32_t ssrc_be = 0;
};
static_assert(sizeof(wire_header) == rtp_header_bytes);

} // namespace

sockaddr_in socket_address(const std::string& ip, std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = ::inet_addr(ip.c_str());
    return address;
}

rtp_peer::rtp_peer(const std::string& ip, std::uint16_t port)
    : socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)), bound_ip(ip) {
    sockaddr_in address = socket_address(ip, port);
    socklen_t address_bytes = sizeof address;
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    if (!socket || ::bind(fd(), generic, address_bytes) != 0 ||
        ::getsockname(fd(), generic, &address_bytes) != 0) {
        throw_system_error("cannot bind a UDP socket to " + ip + ":" + std::to_string(port));
    }
    bound_port = ntohs(address.sin_port);
}

void rtp_peer::send_to(const std::string& ip, std::uint16_t port,
                       std::span<const std::uint8_t> bytes) {
    const sockaddr_in address = socket_address(ip, port);
    if (::sendto(fd(), bytes.data(), bytes.size(), 0, reinterpret_cast<const sockaddr*>(&address),
                 sizeof address) != static_cast<ssize_t>(bytes.size())) {
        throw_system_error("cannot send " + std::to_string(bytes.size()) + " bytes to " + ip + ":" +
                           std::to_string(port));
    }
}

std::optional<std::vector<std::uint8_t>> rtp_peer::receive(milliseconds timeout) {
    const deadline until = ends_after(timeout);
    std::array<std::uint8_t, 65536> bytes;
    while (wait_readable(fd(), until)) {
        // An error is the echo of an earlier datagram that nobody took.
        const ssize_t got = ::recv(fd(), bytes.data(), bytes.size(), 0);
        if (got >= 0) {
            return std::vector<std::uint8_t>(bytes.begin(), bytes.begin() + got);
        }
    }
    return std::nullopt;
}

rtp_view parse_rtp(std::span<const std::uint8_t> packet) {
    if (packet.size() < rtp_header_bytes || packet[0] >> 6 != 2) {
        throw std::runtime_error(
            "not an RTP packet of version 2: " + std::to_string(packet.size()) + " bytes");
    }
    wire_header header;
    std::memcpy(&header, packet.data(), sizeof header);
    return {.payload_type = header.marker_and_type & 0x7F,
            .marker = (header.marker_and_type & 0x80) != 0,
            .sequence = ntohs(header.sequence_be),
            .timestamp = ntohl(header.timestamp_be),
            .ssrc = ntohl(header.ssrc_be),
            .payload = packet.subspan(rtp_header_bytes)};
}

void write_rtp_header(std::span<std::uint8_t, rtp_header_bytes> out, int payload_type,
                      std::uint16_t sequence, std::uint32_t timestamp, std::uint32_t ssrc,
                      bool marker) {
    const wire_header header{
        .marker_and_type = static_cast<std::uint8_t>((marker ? 0x80 : 0) | (payload_type & 0x7F)),
        .sequence_be = htons(sequence),
        .timestamp_be = htonl(timestamp),
        .ssrc_be = htonl(ssrc)};
    std::memcpy(out.data(), &header, sizeof header);
}

std::vector<std::uint8_t> rtp_packet_bytes(int payload_type, std::uint16_t sequence,
                                           std::uint32_t timestamp, std::uint32_t ssrc,
                                           std::span<const std::uint8_t> payload, bool marker) {
    std::vector<std::uint8_t> packet(rtp_header_bytes + payload.size());
    write_rtp_header(std::span(packet).first<rtp_header_bytes>(), payload_type, sequence, timestamp,
                     ssrc, marker);
    std::copy(payload.begin(), payload.end(), packet.begin() + rtp_header_bytes);
    return packet;
}

} // namespace vocalink::harness
