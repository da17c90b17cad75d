// SPDX-License-Identifier: GPL-3.0-or-later
// Calls that go on for the whole of a soak run, and every packet of theirs.
#include "soak/steady_calls.hpp"

#include <cstring>
#include <span>

#include <arpa/inet.h>

namespace vocalink::soak {

namespace {

constexpr std::int64_t interval_ns = 20'000'000;

/** The number of the leg, from 1, begins each payload: it never looks like the mark of a code. */
void write_number(std::span<std::uint8_t> payload, std::size_t leg) {
    const std::uint32_t number_be = htonl(static_cast<std::uint32_t>(leg + 1));
    std::memcpy(payload.data(), &number_be, sizeof number_be);
}

std::size_t number_in(std::span<const std::uint8_t> payload) {
    std::uint32_t number_be = 0;
    std::memcpy(&number_be, payload.data(), sizeof number_be);
    return ntohl(number_be) - 1;
}

} // namespace

void steady_calls::add(const std::vector<std::uint16_t>& leg_ports) {
    for (const std::uint16_t port : leg_ports) {
        legs.push_back({port});
    }
}

void steady_calls::run(std::int64_t now_ns) {
    const auto spread = interval_ns / static_cast<std::int64_t>(legs.size() + 1);
    for (std::size_t number = 0; number < legs.size(); ++number) {
        leg& each = legs[number];
        if (each.next_ns == 0) {
            each.next_ns = now_ns + spread * static_cast<std::int64_t>(number);
        }
        for (; each.next_ns <= now_ns; each.next_ns += interval_ns) {
            send(number);
        }
    }
    socket.flush();
    receive();
}

void steady_calls::send(std::size_t number) {
    if (socket.full()) {
        socket.flush();
    }
    leg& from = legs[number];
    const std::span out(socket.add(from.port));
    harness::write_rtp_header(out.first<harness::rtp_header_bytes>(), 0, from.sequence,
                              from.sequence * std::uint32_t{bench::payload_bytes},
                              static_cast<std::uint32_t>(number));
    write_number(out.subspan(harness::rtp_header_bytes), number);
    from.sequence += 1;
    sent += 1;
}

void steady_calls::receive() {
    socket.receive([this](std::span<const std::uint8_t> bytes, std::uint16_t from_port) {
        const bool whole = bytes.size() == bench::packet_bytes;
        const std::size_t speaker =
            whole ? number_in(bytes.subspan(harness::rtp_header_bytes)) : legs.size();
        const bool right = speaker < legs.size() && legs[speaker ^ 1U].port == from_port;
        ++(right ? received : wrong);
    });
}

} // namespace vocalink::soak
