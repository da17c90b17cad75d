// SPDX-License-Identifier: GPL-3.0-or-later
// The receiver of telephone events, as relays and mixes follow them.
#include "rtp/event_receiver.hpp"

#include <utility>

namespace vocalink {

telephone_event parse_telephone_event(std::span<const std::uint8_t> payload) {
    return {payload[0], (payload[1] & 0x80) != 0, payload[1] & 0x3F, payload[2] << 8 | payload[3]};
}

event_receiver::report event_receiver::take(const rtp_view& packet) {
    const telephone_event event = parse_telephone_event(packet.payload);
    const int previous_duration = std::exchange(last_duration, event.duration);
    if (std::exchange(last_sequence, packet.sequence) == packet.sequence) {
        return {}; // sent again
    }
    telephone_event ended = event;
    ended.code = held;
    if (held == none && packet.marker) {
        held = event.code;
        return {{}, event};
    }
    if (held != none && packet.marker && previous_duration != 0) {
        held = event.code; // the end of the key before was lost; this packet ends that key
        return {ended, event};
    }
    if (held != none && event.end) {
        held = none;
        return {ended, {}};
    }
    return {};
}

} // namespace vocalink
