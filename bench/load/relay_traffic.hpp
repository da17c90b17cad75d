// SPDX-License-Identifier: GPL-3.0-or-later
// Calls between two parties: evenly paced packets in both directions, checked on their return.
#pragma once

#include "load/measured_process.hpp"
#include "load/pacer.hpp"
#include "load/packet_socket.hpp"

#include <cstdint>
#include <vector>

namespace vocalink::bench {

/** What one round of relayed calls cost and what became of its packets. */
struct relay_result {
    std::uint64_t sent = 0;
    std::uint64_t received = 0;
    std::uint64_t misrouted = 0; // not from the partner's port, or not 172 bytes long
    double cpu_s = 0;            // of the measured process
    double first_thread_s = 0;   // of its first thread
    double latency_median_us = 0;
    double latency_p99_us = 0;
    double late_share = 0; // see pacer::late_share

    [[nodiscard]] std::int64_t lost() const {
        return static_cast<std::int64_t>(sent) - static_cast<std::int64_t>(received);
    }
    [[nodiscard]] double cpu_per_million() const {
        return cpu_s / static_cast<double>(received) * 1e6;
    }
    [[nodiscard]] double first_thread_per_million() const {
        return first_thread_s / static_cast<double>(received) * 1e6;
    }
};

/** Sends 50 packets a second on every leg, spread evenly over the 20 ms, and takes them back from
 *  the partner's port. Keeps the calling thread busy for the whole round, so that a packet goes out
 *  at its time and its arrival is seen at once. */
class relay_traffic {
  public:
    static constexpr double packet_interval_s = 0.020;

    explicit relay_traffic(packet_socket& shared) : socket(shared) {}

    [[nodiscard]] relay_result run(const measured_process& target, double seconds);

  private:
    void send_due(pacer& pace, const measured_process& target);
    void receive(const measured_process& target);
    void take_back(std::span<const std::uint8_t> bytes, std::uint16_t from_port,
                   std::int64_t time_ns, const measured_process& target);
    void wait_for_stragglers(const measured_process& target);

    packet_socket& socket;
    std::uint32_t round = 0;              // written into each packet: old ones do not count
    relay_result result;                  // of the running round
    std::vector<std::uint32_t> latencies; // nanoseconds, one per packet of the running round
};

} // namespace vocalink::bench
