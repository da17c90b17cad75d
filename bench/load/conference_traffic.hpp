// SPDX-License-Identifier: GPL-3.0-or-later
// A conference: every member speaks once per mixing cycle and should hear the others.
#pragma once

#include "load/measured_process.hpp"
#include "load/pacer.hpp"
#include "load/packet_socket.hpp"

#include <array>
#include <cstdint>
#include <vector>

namespace vocalink::bench {

/** What one round of a conference cost and what its members heard. */
struct conference_result {
    std::uint64_t sent_in_all = 0;     // also while settling
    std::uint64_t received_in_all = 0; // also while settling
    std::uint64_t received = 0;        // one per member and cycle
    std::uint64_t gaps = 0;            // packets missing from the members' sequence numbers
    std::uint64_t unheard = 0;         // members that received nothing, or only silence, at the end
    double cpu_s = 0;                  // of the measured process
    double late_share = 0;             // see pacer::late_share

    [[nodiscard]] double cpu_per_million() const {
        return cpu_s / static_cast<double>(received) * 1e6;
    }
};

/** Each member sends one packet of noise every 30 ms, the pace at which conferences are mixed, the
 *  members spread evenly over that time. Keeps the calling thread busy for the whole round. */
class conference_traffic {
  public:
    static constexpr double cycle_s = 0.030;
    static constexpr double settle_s = 0.5; // before the account begins

    explicit conference_traffic(packet_socket& shared);

    [[nodiscard]] conference_result run(const measured_process& target, double seconds);

  private:
    /** What one member has heard in this round. */
    struct member {
        std::uint64_t packets = 0;
        std::uint16_t last_sequence = 0;
        bool heard = false; // the last packet was not silence
    };

    void exchange_until(pacer& pace, std::int64_t end_ns, const measured_process& target);
    void send_due(pacer& pace, const measured_process& target);
    void take_back(std::span<const std::uint8_t> bytes, std::uint16_t from_port);

    packet_socket& socket;
    std::vector<std::uint8_t> noise;           // µ-law, quiet enough that sums do not saturate
    std::array<std::int32_t, 65536> by_port{}; // member number of a port, -1 for none
    std::vector<member> members;               // of the running round
    conference_result result;                  // of the running round
};

} // namespace vocalink::bench
