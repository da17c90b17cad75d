// SPDX-License-Identifier: GPL-3.0-or-later
// The numbering of telephone events that a stream passes on.
#include "rtp/event_numbering.hpp"

#include "rtp/rtp_packet.hpp"

#include <cstdint>

namespace vocalink {

namespace {

constexpr std::uint32_t event_spacing = 960; // timestamp units from one event to the next
constexpr int duration_offset = 2;           // in the payload

} // namespace

void event_numbering::renumber(char* packet, int header_bytes) {
    sequence = sequence == -1 ? 1 : sequence + 1;
    auto next_timestamp = static_cast<std::uint32_t>(timestamp);
    if (rtp_packet::marker(packet)) {
        rtp_packet::write_be16(packet + header_bytes + duration_offset, 0);
        next_timestamp = timestamp == -1 ? event_spacing : next_timestamp + event_spacing;
    }
    timestamp = static_cast<int>(next_timestamp);
    rtp_packet::set_sequence(packet, static_cast<std::uint16_t>(sequence));
    rtp_packet::set_timestamp(packet, next_timestamp);
}

} // namespace vocalink
