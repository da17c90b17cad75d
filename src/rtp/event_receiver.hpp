// SPDX-License-Identifier: GPL-3.0-or-later
// The receiver of telephone events, as relays and mixes follow them.
#pragma once

#include "rtp/rtp_view.hpp"

#include <cstdint>
#include <optional>
#include <span>

namespace vocalink {

/** The payload of a telephone event (RFC 4733 2.3). */
struct telephone_event {
    int code;     // 0-9 digits, 10 *, 11 #, 12-15 A-D
    bool end;     // the key has been released
    int volume;   // -dBm0
    int duration; // timestamp units so far
};

/** @param payload  event_payload_bytes or more */
[[nodiscard]] telephone_event parse_telephone_event(std::span<const std::uint8_t> payload);

/** Follows the keys of one far end by marker, end flag and sequence number. Loop thread only.
 *  Deliberate: docs/behaviours.md#events-by-marker */
class event_receiver {
  public:
    /** What one packet told: the end of a key, the begin of one, or, in this order, both. */
    struct report {
        std::optional<telephone_event> ended; // the code is that of the key that began
        std::optional<telephone_event> started;
    };

    /** Takes the next packet. @param packet  with a whole event for payload */
    [[nodiscard]] report take(const rtp_view& packet);

    /** Whether a key is held. */
    [[nodiscard]] bool in_progress() const { return held != none; }

  private:
    static constexpr int none = -1;

    int held = none;          // code of the key
    int last_sequence = none; // of the last packet
    int last_duration = none; // timestamp units
};

} // namespace vocalink
