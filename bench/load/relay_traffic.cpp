// SPDX-License-Identifier: GPL-3.0-or-later
// The call load: pacing, stamping, and the account of what came back.
#include "load/relay_traffic.hpp"

#include "load/statistics.hpp"

#include <cstring>

namespace vocalink::bench {

namespace {

/** What a packet carries about itself, behind the RTP header. */
struct stamp {
    std::uint32_t leg_be; // first, big-endian: never looks like a marker that a server acts on
    std::uint32_t round;
    std::int64_t sent_ns;
};

} // namespace

relay_result relay_traffic::run(const measured_process& target, double seconds) {
    const auto legs = static_cast<double>(target.ports.size());
    const auto packets = static_cast<std::uint64_t>(legs * seconds / packet_interval_s);
    socket.discard_waiting();
    ++round;
    result = {};
    latencies.clear();
    latencies.reserve(packets);

    const double cpu_before = cpu_seconds(target.pid);
    const double first_thread_before = first_thread_cpu_seconds(target.pid);
    pacer pace(now_ns(), packet_interval_s * 1e9 / legs, packets);
    while (!pace.finished()) {
        send_due(pace, target);
        receive(target);
    }
    wait_for_stragglers(target);
    result.first_thread_s = first_thread_cpu_seconds(target.pid) - first_thread_before;
    result.cpu_s = cpu_seconds(target.pid) - cpu_before;

    result.received = latencies.size();
    result.late_share = pace.late_share();
    result.latency_median_us = percentile(latencies, 0.50) / 1000.0;
    result.latency_p99_us = percentile(latencies, 0.99) / 1000.0;
    return result;
}

void relay_traffic::send_due(pacer& pace, const measured_process& target) {
    const std::int64_t time_ns = now_ns();
    while (pace.due(time_ns) && !socket.full()) {
        const std::uint64_t number = pace.take(time_ns);
        const std::size_t legs = target.ports.size();
        const auto leg = static_cast<std::uint32_t>(number % legs);
        packet& out = socket.add(target.ports[leg]);
        write_rtp_header(out, static_cast<std::uint16_t>(number / legs), leg);
        const stamp mine{htonl(leg), round, time_ns};
        std::memcpy(out.data() + rtp_header_bytes, &mine, sizeof mine);
        ++result.sent;
    }
    socket.flush();
}

void relay_traffic::receive(const measured_process& target) {
    std::size_t count = 0;
    do {
        count = socket.receive([&](std::span<const std::uint8_t> bytes, std::uint16_t from_port) {
            take_back(bytes, from_port, now_ns(), target);
        });
    } while (count > 16); // a nearly full batch: more is waiting
}

void relay_traffic::take_back(std::span<const std::uint8_t> bytes, std::uint16_t from_port,
                              std::int64_t time_ns, const measured_process& target) {
    stamp back{};
    if (bytes.size() != packet_bytes) {
        ++result.misrouted;
        return;
    }
    std::memcpy(&back, bytes.data() + rtp_header_bytes, sizeof back);
    const std::uint32_t leg = ntohl(back.leg_be);
    if (back.round != round) {
        return;
    }
    if (leg >= target.ports.size() || from_port != target.ports[leg ^ 1U]) {
        ++result.misrouted;
        return;
    }
    latencies.push_back(static_cast<std::uint32_t>(time_ns - back.sent_ns));
}

void relay_traffic::wait_for_stragglers(const measured_process& target) {
    constexpr std::int64_t patience_ns = 300'000'000;
    std::int64_t give_up_ns = now_ns() + patience_ns;
    while (latencies.size() < result.sent && now_ns() < give_up_ns) {
        const std::size_t before = latencies.size();
        receive(target);
        if (latencies.size() != before) {
            give_up_ns = now_ns() + patience_ns;
        }
    }
}

} // namespace vocalink::bench
