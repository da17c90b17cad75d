// SPDX-License-Identifier: GPL-3.0-or-later
// The receiver of telephone events that tells keys apart by their timestamps (RFC 4733 2.5.1).
#include "rtp/key_receiver.hpp"

#include <algorithm>

namespace vocalink {

namespace {

// Longer than the 50 ms between the packets of slow senders, and two of them lost.
constexpr double silence_ends_key_s = 0.120;

// A packet whose timestamp lies this far back at most, 10 s, is a late one of an earlier key. One
// from further back is the beginning of another count.
constexpr std::int32_t late_units = 80'000;

// The longest duration that a packet can tell; a longer key goes on in another segment
// (RFC 4733 2.5.1.3).
constexpr std::uint32_t segment_units = 0xFFFF;

std::int32_t distance(std::uint32_t from, std::uint32_t to) {
    return static_cast<std::int32_t>(to - from);
}

} // namespace

bool key_receiver::is_current(const key_packet& packet) const {
    return packet.ssrc == key.ssrc && packet.timestamp == key.timestamp &&
           packet.event.code == key.event.code;
}

/** Whether a packet begins the next segment of the key that is down. */
bool key_receiver::continues(const key_packet& packet) const {
    return down && packet.ssrc == key.ssrc && packet.event.code == key.event.code &&
           packet.timestamp - key.timestamp == segment_units;
}

/** Whether a packet belongs to a key before the current one, or to one that has been let go. */
bool key_receiver::is_stale(const key_packet& packet) const {
    if (!known || packet.ssrc != key.ssrc) {
        return false;
    }
    const std::int32_t back = distance(packet.timestamp, key.timestamp);
    return back > 0 && back <= late_units;
}

void key_receiver::press(const key_packet& packet, changes& result) {
    known = true;
    down = true;
    earlier_units = 0;
    result.list[static_cast<std::size_t>(result.count++)] = {true, packet.event};
}

void key_receiver::let_go(changes& result) {
    down = false;
    telephone_event whole = key.event;
    whole.duration += earlier_units;
    result.list[static_cast<std::size_t>(result.count++)] = {false, whole};
}

key_receiver::changes key_receiver::put(const key_packet& packet, double now_s) {
    changes result;
    if (known && is_current(packet)) {
        if (!down) {
            return result; // the third end packet, or one that was overtaken
        }
    } else if (is_stale(packet)) {
        return result;
    } else if (continues(packet)) {
        earlier_units += static_cast<int>(segment_units);
    } else {
        if (down) {
            let_go(result); // its end packets were lost
        }
        press(packet, result);
    }
    const int longest = is_current(packet) ? key.event.duration : 0;
    key = packet;
    key.event.duration = std::max(packet.event.duration, longest); // packets may swap
    last_packet_s = now_s;
    if (packet.event.end) {
        let_go(result);
    }
    return result;
}

key_receiver::changes key_receiver::expire(double now_s) {
    changes result;
    if (down && now_s - last_packet_s >= silence_ends_key_s) {
        let_go(result);
    }
    return result;
}

} // namespace vocalink
