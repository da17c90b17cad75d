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
    while (index > 0 && stored->packets[index - 1].sequence > sequence) {
        --index;
    }
    return index;
}

void playout_queue::insert(const queued_packet& packet, std::span<const std::uint8_t> payload) {
    assert(fits(payload.size()));
    const std::size_t index = index_of(packet.sequence);
    std::size_t offset = used_bytes;
    for (std::size_t later = index; later < count; ++later) {
        offset -= static_cast<std::size_t>(stored->packets[later].bytes);
    }
    std::move_backward(stored->payloads.begin() + offset, stored->payloads.begin() + used_bytes,
                       stored->payloads.begin() + used_bytes + payload.size());
    std::copy(payload.begin(), payload.end(), stored->payloads.begin() + offset);
    std::move_backward(stored->packets.begin() + index, stored->packets.begin() + count,
                       stored->packets.begin() + count + 1);
    stored->packets[index] = packet;
    stored->packets[index].bytes = static_cast<int>(payload.size());
    ++count;
    used_bytes += payload.size();
}

std::int64_t playout_queue::end_before(std::int64_t sequence, std::int64_t otherwise) const {
    const std::size_t index = index_of(sequence);
    return index == 0 ? otherwise
                      : stored->packets[index - 1].place + stored->packets[index - 1].samples;
}

bool playout_queue::empty() const {
    return count == 0;
}

const queued_packet& playout_queue::front() const {
    return stored->packets[0];
}

const queued_packet& playout_queue::back() const {
    return stored->packets[count - 1];
}

std::span<const std::uint8_t> playout_queue::front_payload() const {
    return std::span(stored->payloads).first(static_cast<std::size_t>(stored->packets[0].bytes));
}

void playout_queue::pop_front() {
    const auto bytes = static_cast<std::size_t>(stored->packets[0].bytes);
    std::copy(stored->payloads.begin() + bytes, stored->payloads.begin() + used_bytes,
              stored->payloads.begin());
    used_bytes -= bytes;
    std::copy(stored->packets.begin() + 1, stored->packets.begin() + count,
              stored->packets.begin());
    --count;
}

void playout_queue::clear() {
    count = 0;
    used_bytes = 0;
}

void playout_queue::shift(std::int64_t samples) {
    for (std::size_t i = 0; i < count; ++i) {
        stored->packets[i].place += samples;
    }
}

} // namespace vocalink
