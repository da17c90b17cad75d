// SPDX-License-Identifier: GPL-3.0-or-later
// A far end that sends to one stream what the input says.
#include "support/far_end.hpp"

#include "harness/rtp_peer.hpp"
#include "rtp/rtp_payload.hpp"

#include <cstdlib>

#include <sys/socket.h>

namespace vocalink::fuzz {

namespace {

constexpr std::uint8_t types[] = {PCMU, PCMA, G722, G729, ILBC, 101, 100, 13, 96, 0x7F};
constexpr std::uint8_t lengths[] = {160, 4, 20, 38, 50, 10, 80, 240, 0, 3, 22, 40};
constexpr std::size_t longest_datagram = 1600;

} // namespace

far_end::far_end(const std::string& port) : socket(::socket(AF_INET, SOCK_DGRAM, 0)) {
    const auto stream =
        harness::socket_address("127.0.0.1", static_cast<std::uint16_t>(std::atoi(port.c_str())));
    if (::connect(socket.get(), reinterpret_cast<const sockaddr*>(&stream), sizeof stream) != 0) {
        std::abort();
    }
}

void far_end::send(input& in) {
    const std::uint8_t kind = in.byte();
    const std::string datagram =
        kind == 0 ? in.text(in.number<std::uint16_t>() % longest_datagram) : next_packet(in);
    (void)!::send(socket.get(), datagram.data(), datagram.size(), 0);
}

std::string far_end::next_packet(input& in) {
    const std::uint8_t flags = in.byte();
    const std::uint8_t type = in.one_of(types);
    sequence =
        static_cast<std::uint16_t>(sequence + ((flags & 1) != 0 ? in.number<std::int8_t>() : 1));
    timestamp += (flags & 2) != 0 ? static_cast<std::uint32_t>(in.number<std::int32_t>()) : 160U;
    const std::uint32_t source = (flags & 4) != 0 ? in.byte() : 7;
    const std::uint8_t length = in.one_of(lengths);
    std::string payload = in.text((flags & 8) != 0 ? length : 4);
    payload.resize(length, static_cast<char>(flags));
    const auto packet = harness::rtp_packet_bytes(
        type, sequence, timestamp, source,
        {reinterpret_cast<const std::uint8_t*>(payload.data()), payload.size()}, (flags & 16) != 0);
    std::string bytes(packet.begin(), packet.end());
    if ((flags & 32) != 0) { // CSRC entries, extension, padding, another version
        bytes[0] = static_cast<char>(in.byte());
    }
    return bytes;
}

} // namespace vocalink::fuzz
