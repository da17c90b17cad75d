// SPDX-License-Identifier: GPL-3.0-or-later
// Keys sent to one listener as telephone events of its own RTP stream (RFC 4733).
#pragma once

#include "rtp/rtp_packet.hpp"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

namespace vocalink {

/** A key to send. */
struct key_press {
    std::uint8_t event;
    std::uint8_t volume; // -dBm0, 0 to 63
    int payload_type;
    int ticks; // of 20 ms, at least 1
};

/** Turns queued keys into one packet a tick: the key for as long as it lasts, the last of these
 *  packets and the two after it with the end flag, and a pause before the next key. A pure object. */
class key_sender {
  public:
    struct packet {
        int payload_type;
        bool marker;
        std::uint32_t timestamp; // of the key's begin
        std::array<std::uint8_t, event_payload_bytes> event;
    };

    /** Queues a key behind those not yet sent. @return false when the queue is full */
    bool press(const key_press& key);

    /** The packet of this tick; none when audio may be sent instead.
     *  @param timestamp  of the tick in the listener's RTP stream */
    [[nodiscard]] std::optional<packet> next(std::uint32_t timestamp);

  private:
    [[nodiscard]] packet event_packet(const key_press& key) const;

    static constexpr std::size_t queue_length = 64;

    std::size_t first = 0;
    std::size_t waiting = 0;
    int tick = 0;                                // of the key in progress, from 1; 0 between keys
    int pause = 0;                               // ticks before the next key may begin
    std::uint32_t begin = 0;                     // timestamp of the key in progress
    std::array<key_press, queue_length> queue{}; // a ring; behind what every tick looks at
};

} // namespace vocalink
