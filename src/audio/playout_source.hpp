// SPDX-License-Identifier: GPL-3.0-or-later
// Where each packet of a speaker belongs, and what became of those that were expected.
#pragma once

#include "rtp/reception.hpp"
#include "rtp/rtp_view.hpp"

#include <cstdint>

namespace vocalink {

/** Where a packet stands in its stream. */
struct packet_position {
    std::int64_t sequence;  // extended: no wrap
    std::int64_t place;     // of its first sample, in samples of the stream
    bool duplicate = false; // came before; the rest says nothing
    bool restarted = false; // first of a new source, without a place yet
    bool newest = false;    // none with a higher number came
};

/** Follows the sequence numbers and timestamps of one speaker, across changes of source.
 *
 *  The sequence number tells what is lost, the timestamp where a packet belongs. A timestamp that
 *  contradicts both sample counts and arrival times is not believed. When a sender keeps sending
 *  such timestamps, its packets are placed end to end. Belongs to one playout buffer. */
class playout_source {
  public:
    /** A packet is out of order by at most so many others; one further behind begins anew. */
    static constexpr int furthest_back = reception::furthest_behind;

    /** Finds the position of a packet and counts it. */
    [[nodiscard]] packet_position locate(const rtp_view& packet, int samples, double now_s);

    /** Counts a packet of the source that carries no audio: a key, comfort noise. It is not lost. */
    void pass_over(std::uint32_t packet_ssrc, std::uint16_t packet_sequence);

    /** Notes that a packet was placed elsewhere. Later packets follow it. */
    void place(std::int64_t sequence, std::int64_t new_place);

    /** Moves everything that is still to come to a later place. */
    void shift(std::int64_t samples);

    /** Forgets the source; counts stay. */
    void forget();

    /** Packets expected less those that came once, over all sources (RFC 3550 A.3). */
    [[nodiscard]] std::uint64_t lost() const { return arrivals.lost(); }

    /** Interarrival jitter of the present source (RFC 3550 A.8). */
    [[nodiscard]] double jitter_ms() const { return arrivals.jitter_ms(); }

  private:
    /** The newest packet: what the places of others are counted from. */
    struct reference {
        std::uint32_t timestamp;
        std::int64_t place;
        int samples;
        double arrival_s;
    };

    [[nodiscard]] bool is_other_source(const rtp_view& packet, int steps, int samples);
    void begin(const rtp_view& packet, int samples, double now_s);
    [[nodiscard]] std::int64_t samples_after(const rtp_view& packet, int steps, double now_s);
    [[nodiscard]] std::int64_t samples_before(const rtp_view& packet, int steps, int samples) const;

    reception arrivals;
    reference newest{};
    int timestamp_trust = 0;
    std::uint16_t last_old_sequence = 0; // of the last packet that was not the newest
    int old_in_a_row = 0;                // such packets that followed each other
};

} // namespace vocalink
