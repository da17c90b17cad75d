// SPDX-License-Identifier: GPL-3.0-or-later
// Packets that wait, still encoded, for their turn to be played.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

namespace vocalink {

/** What the queue knows of a waiting packet. */
struct queued_packet {
    std::int64_t sequence = 0; // extended: no wrap
    std::int64_t place = 0;    // of its first sample, in samples of the stream
    std::uint32_t timestamp = 0;
    int samples = 0;
    int bytes = 0;
    int payload_type = 0;
};

/** Waiting packets in the order of their sequence numbers, in fixed storage. The payloads lie
 *  without gaps in the same order, so that taking from the front moves what remains: a few hundred
 *  bytes on most lines. Belongs to one playout buffer. */
class playout_queue {
  public:
    /** Room for 200 ms of G.711 and one packet of 120 ms beside it. */
    static constexpr std::size_t max_bytes = 1600 + 960;
    static constexpr std::size_t max_packets = 128;

    /** Whether there is room for a payload of that many bytes. */
    [[nodiscard]] bool fits(std::size_t payload_bytes) const;

    /** Inserts a packet that fits and whose sequence number is not in the queue. */
    void insert(const queued_packet& packet, std::span<const std::uint8_t> payload);

    /** Where the packet before a sequence number ends; otherwise if there is none. */
    [[nodiscard]] std::int64_t end_before(std::int64_t sequence, std::int64_t otherwise) const;

    [[nodiscard]] bool empty() const;
    [[nodiscard]] const queued_packet& front() const;
    [[nodiscard]] const queued_packet& back() const;
    [[nodiscard]] std::span<const std::uint8_t> front_payload() const;
    void pop_front();
    void clear();

    /** Moves every packet to a later place. */
    void shift(std::int64_t samples);

  private:
    [[nodiscard]] std::size_t index_of(std::int64_t sequence) const;

    struct storage {
        alignas(64) std::array<std::uint8_t, max_bytes> payloads{};
        std::array<queued_packet, max_packets> packets{};
    };

    std::unique_ptr<storage> stored = std::make_unique<storage>();
    std::size_t count = 0;
    std::size_t used_bytes = 0;
};

} // namespace vocalink
