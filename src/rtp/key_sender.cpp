// SPDX-License-Identifier: GPL-3.0-or-later
// Keys sent to one listener as telephone events of its own RTP stream (RFC 4733).
#include "rtp/key_sender.hpp"

namespace vocalink {

namespace {

constexpr int units_per_tick = 160; // 20 ms at 8 kHz

// After the last end packet, so that the next key begins two ticks, 40 ms, behind it.
constexpr int pause_ticks = 1;

} // namespace

bool key_sender::press(const key_press& key) {
    if (waiting == queue.size()) {
        return false;
    }
    queue[(first + waiting) % queue.size()] = key;
    waiting += 1;
    return true;
}

std::optional<key_sender::packet> key_sender::next(std::uint32_t timestamp) {
    if (tick == 0 && pause > 0) {
        pause -= 1;
        return std::nullopt;
    }
    if (waiting == 0) {
        return std::nullopt;
    }
    if (tick == 0) {
        begin = timestamp;
    }
    const key_press& key = queue[first];
    tick += 1;
    const packet sent = event_packet(key);
    if (tick == key.ticks + event_end_packets - 1) {
        first = (first + 1) % queue.size();
        waiting -= 1;
        tick = 0;
        pause = pause_ticks;
    }
    return sent;
}

key_sender::packet key_sender::event_packet(const key_press& key) const {
    const bool is_end = tick >= key.ticks;
    const int duration = (is_end ? key.ticks : tick) * units_per_tick;
    return {key.payload_type,
            tick == 1,
            begin,
            {key.event, static_cast<std::uint8_t>(key.volume | (is_end ? event_end_flag : 0)),
             static_cast<std::uint8_t>(duration >> 8), static_cast<std::uint8_t>(duration)}};
}

} // namespace vocalink
