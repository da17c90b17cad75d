// SPDX-License-Identifier: GPL-3.0-or-later
// Which packets of a far end came, which are missing, and how evenly they come.
#pragma once

#include "rtp/rtp_view.hpp"

#include <cstdint>

namespace vocalink {

/** Follows the sequence numbers and time stamps of one far end, across changes of its source. Loss
 *  is counted over all sources; jitter is that of the present one. Times are monotonic seconds of
 *  arrival. Loop thread only. */
class reception {
  public:
    /** A packet is out of order by at most so many others; one further behind begins anew. */
    static constexpr int furthest_behind = 50;
    /** A packet further ahead belongs to another count (RFC 3550 A.1). */
    static constexpr int furthest_ahead = 3000;

    /** Counts a packet of whatever source, for those who put nothing in order.
     *  @param audio  its timestamp moves with the clock, as that of a telephone event does not */
    void count(const rtp_view& packet, bool audio, double now_s);

    /** Whether packets have come since the last forget(). */
    [[nodiscard]] bool is_known() const { return known; }
    /** Whether a packet belongs to the present source. */
    [[nodiscard]] bool continues(std::uint32_t packet_ssrc, std::uint16_t packet_sequence) const;
    /** How many numbers a packet of the present source is ahead of the newest, or behind it. */
    [[nodiscard]] int steps_to(std::uint16_t packet_sequence) const;
    /** The highest number that came, extended so that it does not wrap. */
    [[nodiscard]] std::int64_t newest() const { return newest_sequence; }

    /** Begins the count of another source with its first packet. */
    void begin(std::uint32_t first_ssrc, std::uint16_t first, std::uint32_t timestamp,
               double now_s);
    /** Counts a packet of the present source. @return false when it came before */
    bool count_once(std::int64_t sequence);
    /** Measures jitter by a packet of audio (RFC 3550 A.8). */
    void measure_jitter(std::uint32_t timestamp, double now_s);
    /** Forgets the source; what it lost stays counted. */
    void forget();

    /** Packets expected less those that came once (RFC 3550 A.3). */
    [[nodiscard]] std::uint64_t lost() const;
    /** Packets that count() got again. */
    [[nodiscard]] std::uint64_t duplicates() const { return doubled; }
    [[nodiscard]] double jitter_ms() const;

  private:
    bool known = false;
    std::uint32_t ssrc = 0;
    std::int64_t newest_sequence = 0;
    std::int64_t first_sequence = 0;
    std::uint64_t came = 0; // bit n: the packet n before the newest
    std::uint64_t received = 0;
    std::uint64_t lost_of_earlier_sources = 0;
    std::uint64_t doubled = 0;
    double jitter_samples = 0;
    double jitter_arrival_s = 0;
    std::uint32_t jitter_timestamp = 0;
};

} // namespace vocalink
