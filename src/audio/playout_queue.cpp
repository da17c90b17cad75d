// SPDX-License-Identifier: GPL-3.0-or-later
// Packets that wait, still encoded, for their turn to be played.
#include "audio/playout_queue.hpp"

#include <algorithm>
#include <cassert>

namespace vocalink {

bool playout_queue::fits(std::size_t payload_bytes) const {
    return count < max_packets && used_bytes + payload_bytes <= max_bytes;
}

std::size_t playout_queue::index_of(std::int64_t sequence) const {
    std::size_t index = count; // most packets come in order
    while (index > 0 && packets[index - 1].sequence > sequence) {
        --index;
    }
    return index;
}

void playout_queue::insert(const queued_packet& packet, std::span<const std::uint8_t> payload) {
    assert(fits(payload.size()));
    const std::size_t index = index_of(packet.sequence);
    std::size_t offset = used_bytes;
    for (std::size_t later = index; later < count; ++later) {
        offset -= static_cast<std::size_t>(packets[later].bytes);
    }
    std::move_backward(payloads.begin() + offset, payloads.begin() + used_bytes,
                       payloads.begin() + used_bytes + payload.size());
    std::copy(payload.begin(), payload.end(), payloads.begin() + offset);
    std::move_backward(packets.begin() + index, packets.begin() + count,
                       packets.begin() + count + 1);
    packets[index] = packet;
    packets[index].bytes = static_cast<int>(payload.size());
    ++count;
    used_bytes += payload.size();
}

std::int64_t playout_queue::end_before(std::int64_t sequence, std::int64_t otherwise) const {
    const std::size_t index = index_of(sequence);
    return index == 0 ? otherwise : packets[index - 1].place + packets[index - 1].samples;
}

bool playout_queue::empty() const {
    return count == 0;
}

const queued_packet& playout_queue::front() const {
    return packets[0];
}

const queued_packet& playout_queue::back() const {
    return packets[count - 1];
}

std::span<const std::uint8_t> playout_queue::front_payload() const {
    return std::span(payloads).first(static_cast<std::size_t>(packets[0].bytes));
}

void playout_queue::pop_front() {
    const auto bytes = static_cast<std::size_t>(packets[0].bytes);
    std::copy(payloads.begin() + bytes, payloads.begin() + used_bytes, payloads.begin());
    used_bytes -= bytes;
    std::copy(packets.begin() + 1, packets.begin() + count, packets.begin());
    --count;
}

void playout_queue::clear() {
    count = 0;
    used_bytes = 0;
}

void playout_queue::shift(std::int64_t samples) {
    for (std::size_t i = 0; i < count; ++i) {
        packets[i].place += samples;
    }
}

} // namespace vocalink
