// SPDX-License-Identifier: GPL-3.0-or-later
// What RTP endpoints count, of one of them and of all.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace vocalink {

/** Everything that an RTP endpoint counts. */
enum rtp_figure : std::size_t {
    received_packets,
    received_bytes,
    sent_packets,
    sent_bytes,
    receive_errors,
    send_errors,
    lost_packets,
    late_packets, // in conferences
    duplicate_packets,
    concealed_ms, // in conferences
    refused_not_rtp,
    refused_unknown_type,
    refused_wrong_size,
    unprotect_failures,
    protect_failures,
    rtp_figure_count
};

using rtp_figures = std::array<std::int64_t, rtp_figure_count>;

/** The sums of the figures of all endpoints, ended ones included. They never go back. Loop thread. */
class rtp_totals {
  public:
    /** Adds what has been counted since the last call.
     *  @param told  what was added by then; becomes present where that is more. A figure may go
     *  back: a late packet is no longer lost. */
    void add(rtp_figures& told, const rtp_figures& present) {
        for (std::size_t i = 0; i < rtp_figure_count; ++i) {
            if (present[i] > told[i]) {
                sums[i] += present[i] - told[i];
                told[i] = present[i];
            }
        }
    }

    [[nodiscard]] const rtp_figures& figures() const { return sums; }

  private:
    rtp_figures sums{};
};

} // namespace vocalink
