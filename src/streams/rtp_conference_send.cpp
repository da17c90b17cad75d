// SPDX-License-Identifier: GPL-3.0-or-later
// The RTP endpoint in a conference: what its far end hears.
#include "streams/rtp_conference.hpp"

#include <algorithm>
#include <cstring>

namespace vocalink {

void rtp_stream::leg::hear(const tick_frame& frame, double) {
    clock += tick_samples;
    if (const auto key = keys_out.next(clock)) {
        send(key->payload_type, key->marker, key->timestamp, key->event, false);
    } else {
        send_audio(frame);
    }
}

void rtp_stream::leg::take_key(const key_press& key) {
    key_press sent = key;
    sent.payload_type = owner.types.to_wire(key.payload_type);
    keys_out.press(sent);
}

/** Encodes a tick, and sends the packet that is whole with it. */
void rtp_stream::leg::send_audio(const tick_frame& frame) {
    const std::span<const std::uint8_t> payload = encoder.encode(frame);
    waiting_samples += static_cast<int>(tick_samples);
    if (payload.empty()) {
        return;
    }
    const auto begin = clock + tick_samples - static_cast<std::uint32_t>(waiting_samples);
    waiting_samples -= encoder.packet_samples();
    send(owner.types.to_wire(owner.payload), first_packet, begin, payload, true);
    first_packet = false;
}

/** Sends a packet of this stream's own numbering. */
void rtp_stream::leg::send(int payload_type, bool marker, std::uint32_t timestamp,
                           std::span<const std::uint8_t> payload, bool audio) {
    alignas(16) std::array<char, rtp_header_bytes + tick_samples> packet;
    char* const header = owner.own_packet.data(); // holds the numbers from join to join
    rtp_packet::set_sequence(header, static_cast<std::uint16_t>(rtp_packet::sequence(header) + 1));
    rtp_packet::set_timestamp(header, clock);
    std::memcpy(packet.data(), header, rtp_header_bytes);
    packet[1] = static_cast<char>(payload_type | (marker ? 0x80 : 0));
    rtp_packet::set_timestamp(packet.data(), timestamp);
    std::memcpy(packet.data() + rtp_header_bytes, payload.data(), payload.size());
    owner.send_counted(packet.data(), rtp_header_bytes + static_cast<int>(payload.size()), audio);
}

} // namespace vocalink
