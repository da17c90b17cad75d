// SPDX-License-Identifier: GPL-3.0-or-later
// The receiver of telephone events that tells keys apart by their timestamps (RFC 4733 2.5.1).
#pragma once

#include "rtp/event_receiver.hpp"

#include <array>
#include <cstdint>

namespace vocalink {

/** A telephone event packet. */
struct key_packet {
    std::uint32_t ssrc;
    std::uint32_t timestamp; // of the key's begin, host order; the same in all its packets
    telephone_event event;
};

/** Reports each key once when it goes down and once when it is let go, whatever is lost, doubled or
 *  late. A pure object on passed-in time. */
class key_receiver {
  public:
    /** A key that goes down, or one that is let go and then has a duration. */
    struct change {
        bool down;
        telephone_event event;
    };

    /** What one packet or one look at the clock brings about, in order. */
    struct changes {
        std::array<change, 3> list;
        int count = 0;
    };

    /** Takes a packet that arrived at now_s, in seconds of a monotonic clock. */
    [[nodiscard]] changes put(const key_packet& packet, double now_s);

    /** Lets go of a key whose packets have stopped coming. */
    [[nodiscard]] changes expire(double now_s);

    /** Whether a key is down. */
    [[nodiscard]] bool pressed() const { return down; }

  private:
    [[nodiscard]] bool is_current(const key_packet& packet) const;
    [[nodiscard]] bool continues(const key_packet& packet) const;
    [[nodiscard]] bool is_stale(const key_packet& packet) const;
    void press(const key_packet& packet, changes& result);
    void let_go(changes& result);

    bool known = false; // a key has been seen; the current one, or the last
    bool down = false;
    key_packet key{};      // its identity, and volume and duration of its latest packet
    int earlier_units = 0; // of the segments before this one, in a key of over 8 s
    double last_packet_s = 0.0;
};

} // namespace vocalink
