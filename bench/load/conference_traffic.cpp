// SPDX-License-Identifier: GPL-3.0-or-later
// The conference load and the account of what each member heard.
#include "load/conference_traffic.hpp"

#include <algorithm>
#include <limits>
#include <random>

namespace vocalink::bench {

namespace {

constexpr std::size_t noise_bytes = 8192;

/** Both signs of the two lowest µ-law segments: up to about 400 of 32767. */
std::vector<std::uint8_t> make_noise() {
    std::mt19937 random(1);
    std::uniform_int_distribution<int> code(0, 31);
    std::vector<std::uint8_t> noise(noise_bytes + pcmu_payload_bytes);
    for (auto& byte : noise) {
        byte = static_cast<std::uint8_t>(((random() & 1U) != 0 ? 0x7f : 0xff) - code(random));
    }
    return noise;
}

/** A fair share of the samples is neither of the two silent codes. */
bool carries_sound(std::span<const std::uint8_t> payload) {
    const auto silent = std::count_if(payload.begin(), payload.end(), [](std::uint8_t byte) {
        return byte == 0xff || byte == 0x7f;
    });
    return static_cast<std::size_t>(silent) * 2 < payload.size();
}

} // namespace

conference_traffic::conference_traffic(packet_socket& shared)
    : socket(shared), noise(make_noise()) {
    by_port.fill(-1);
}

conference_result conference_traffic::run(const measured_process& target, double seconds) {
    socket.discard_waiting();
    members.assign(target.ports.size(), {});
    for (std::size_t i = 0; i < target.ports.size(); ++i) {
        by_port[target.ports[i]] = static_cast<std::int32_t>(i);
    }
    const double interval_ns = cycle_s * 1e9 / static_cast<double>(target.ports.size());
    const std::int64_t start_ns = now_ns();
    const std::int64_t account_ns = start_ns + static_cast<std::int64_t>(settle_s * 1e9);
    pacer pace(start_ns, interval_ns, std::numeric_limits<std::uint64_t>::max());

    exchange_until(pace, account_ns, target);
    result = {};
    const double cpu_before = cpu_seconds(target.pid);
    exchange_until(pace, account_ns + static_cast<std::int64_t>(seconds * 1e9), target);
    result.cpu_s = cpu_seconds(target.pid) - cpu_before;

    result.sent_in_all = pace.taken();
    result.late_share = pace.late_share();
    for (std::size_t i = 0; i < members.size(); ++i) {
        result.received_in_all += members[i].packets;
        result.unheard += members[i].heard ? 0 : 1;
        by_port[target.ports[i]] = -1;
    }
    return result;
}

void conference_traffic::exchange_until(pacer& pace, std::int64_t end_ns,
                                        const measured_process& target) {
    while (now_ns() < end_ns) {
        send_due(pace, target);
        socket.receive([this](std::span<const std::uint8_t> bytes, std::uint16_t from_port) {
            take_back(bytes, from_port);
        });
    }
}

void conference_traffic::send_due(pacer& pace, const measured_process& target) {
    const std::int64_t time_ns = now_ns();
    while (pace.due(time_ns) && !socket.full()) {
        const std::uint64_t number = pace.take(time_ns);
        const std::size_t leg = number % target.ports.size();
        packet& out = socket.add(target.ports[leg]);
        write_rtp_header(out, static_cast<std::uint16_t>(number / target.ports.size()),
                         static_cast<std::uint32_t>(leg));
        // A different stretch for each member and packet, so that no two cancel each other out.
        const std::size_t from = number * 61 % noise_bytes;
        std::copy_n(noise.begin() + static_cast<std::ptrdiff_t>(from), pcmu_payload_bytes,
                    out.begin() + rtp_header_bytes);
    }
    socket.flush();
}

void conference_traffic::take_back(std::span<const std::uint8_t> bytes, std::uint16_t from_port) {
    const std::int32_t number = by_port[from_port];
    if (number < 0 || bytes.size() < rtp_header_bytes) {
        return;
    }
    member& listener = members[static_cast<std::size_t>(number)];
    const auto sequence = static_cast<std::uint16_t>(bytes[2] << 8 | bytes[3]);
    if (listener.packets != 0) {
        result.gaps += static_cast<std::uint16_t>(sequence - listener.last_sequence - 1);
    }
    listener.last_sequence = sequence;
    listener.heard = carries_sound(bytes.subspan(rtp_header_bytes));
    ++listener.packets;
    ++result.received;
}

} // namespace vocalink::bench
