// SPDX-License-Identifier: GPL-3.0-or-later
// The RTP endpoint in a conference: what its far end hears.
#include "streams/rtp_conference.hpp"

#include <algorithm>
#include <cstring>

namespace vocalink {

void rtp_stream::leg::hear(const tick_frame& frame, double) {
    clock += tick_samples;
    alignas(4) packet_bytes packet; // filled below
    if (const auto key = keys_out.next(clock)) {
        std::ranges::copy(key->event, packet.begin() + rtp_header_bytes);
        send(packet, key->event.size(), key->payload_type, key->marker, key->timestamp, false);
    } else {
        send_audio(packet, frame);
    }
}

void rtp_stream::leg::take_key(const key_press& key) {
    key_press sent = key;
    sent.payload_type = owner.types.to_wire(key.payload_type);
    keys_out.press(sent);
}

/** Encodes a tick, and sends the packet that is whole with it. */
void rtp_stream::leg::send_audio(packet_bytes& packet, const tick_frame& frame) {
    const std::size_t bytes = encoder.encode(frame, std::span(packet).subspan<rtp_header_bytes>());
    waiting_samples += static_cast<int>(tick_samples);
    if (bytes == 0) {
        return;
    }
    const auto begin = clock + tick_samples - static_cast<std::uint32_t>(waiting_samples);
    waiting_samples -= encoder.packet_samples();
    send(packet, bytes, owner.types.to_wire(owner.payload), first_packet, begin, true);
    first_packet = false;
}

/** Sends a packet, whose payload has been written, with this stream's own numbering. */
void rtp_stream::leg::send(packet_bytes& packet, std::size_t payload_bytes, int payload_type,
                           bool marker, std::uint32_t timestamp, bool audio) {
    char* const header = owner.own_packet.data(); // holds the numbers from join to join
    rtp_packet::set_sequence(header, static_cast<std::uint16_t>(rtp_packet::sequence(header) + 1));
    rtp_packet::set_timestamp(header, clock);
    auto* const sent = reinterpret_cast<char*>(packet.data());
    std::memcpy(sent, header, rtp_header_bytes);
    rtp_packet::set_payload_type(sent, payload_type);
    rtp_packet::set_marker(sent, marker);
    rtp_packet::set_timestamp(sent, timestamp);
    owner.send_counted(sent, rtp_header_bytes + static_cast<int>(payload_bytes), audio);
}

} // namespace vocalink
