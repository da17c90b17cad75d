// SPDX-License-Identifier: GPL-3.0-or-later
// Packets of one bad kind, many of them, to one port.
#include "soak/flood.hpp"

#include <stdexcept>
#include <utility>

namespace vocalink::soak {

namespace {

constexpr std::size_t frame_bytes = 160;
constexpr int most_at_once = 2000; // after a pause, so that the pause is not made up for

} // namespace

flood::flood(std::string kind_name, std::uint16_t leg_port, double packets_per_second)
    : kind(std::move(kind_name)), port(leg_port), interval_ns(1e9 / packets_per_second) {}

void flood::run(std::int64_t now_ns) {
    if (start_ns == 0) {
        start_ns = now_ns;
    }
    const auto due =
        static_cast<std::uint64_t>(static_cast<double>(now_ns - start_ns) / interval_ns);
    for (int i = 0; sent < due && i < most_at_once; ++i, ++sent) {
        peer.send_to("127.0.0.1", port, next_packet());
    }
    sent = due;
}

std::vector<std::uint8_t> flood::audio(std::size_t payload_bytes, int type,
                                       std::uint32_t source) const {
    const auto number = static_cast<std::uint32_t>(sent);
    return harness::rtp_packet_bytes(type, static_cast<std::uint16_t>(number), number * 160, source,
                                     std::vector<std::uint8_t>(payload_bytes, 0x55));
}

std::vector<std::uint8_t> flood::next_packet() {
    const auto number = static_cast<std::uint32_t>(sent);
    if (kind == "garbage") {
        std::vector<std::uint8_t> bytes(random() % 1400);
        for (std::uint8_t& byte : bytes) {
            byte = static_cast<std::uint8_t>(random());
        }
        return bytes;
    }
    if (kind == "empty") {
        return {};
    }
    if (kind == "short" || kind == "long") {
        return audio(kind == "short" ? 7 : 1460, 0, 1);
    }
    if (kind == "types") {
        return audio(frame_bytes, static_cast<int>(number % 128), 1);
    }
    if (kind == "sources") {
        return audio(frame_bytes, 0, random());
    }
    if (kind == "audio") {
        return audio(frame_bytes, 0, 1);
    }
    if (kind == "keys") {
        const std::uint8_t event[] = {static_cast<std::uint8_t>(number % 16), 10, 1, 64};
        return harness::rtp_packet_bytes(101, static_cast<std::uint16_t>(number), number * 160, 1,
                                         event, true);
    }
    if (kind == "codes") {
        auto packet = audio(frame_bytes, 0, 1);
        if (number % 4 == 0) {
            constexpr std::uint8_t mark[] = {0xFE, 0xED, 0xFA, 0xCE};
            std::copy(std::begin(mark), std::end(mark), packet.begin() + harness::rtp_header_bytes);
        }
        return packet;
    }
    throw std::runtime_error("no such flood: " + kind);
}

} // namespace vocalink::soak
