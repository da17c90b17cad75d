// SPDX-License-Identifier: GPL-3.0-or-later
// What one conference member says, from packets as they come to 20 ms of samples every tick.
#pragma once

#include "audio/voice_decoder.hpp"
#include "audio/voice_packet.hpp"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace vocalink {

/** What a playout buffer counted, over all sources since it was made; clear() keeps it. */
struct playout_counters {
    std::uint64_t lost = 0;         // expected less what came once (RFC 3550 A.3)
    std::uint64_t late = 0;         // came after their turn
    std::uint64_t duplicate = 0;    // came again
    std::uint64_t concealed_ms = 0; // made up in place of what was missing
    double jitter_ms = 0;           // RFC 3550 A.8
    int delay_ms = 0;               // audio that waits now
};

/** Puts the packets of one speaker in order, and gives 20 ms of samples each tick.
 *
 *  Time is passed in, in seconds of one monotonic clock: to put() the time of arrival, to play()
 *  the time of the tick. Several ticks in one moment catch up a late one. Belongs to one member;
 *  loop thread only; after construction only the first packet of a codec allocates. */
class playout_buffer {
  public:
    /** @param ilbc_type  the payload type of iLBC, -1 where the stream has none
     *  @param ilbc_bytes  bytes of one iLBC frame, 38 (20 ms) or 50 (30 ms) */
    playout_buffer(int ilbc_type, int ilbc_bytes);

    /** Whether packets of that type are decoded. */
    [[nodiscard]] bool accepts(int payload_type) const;

    /** Takes a packet. One whose type or length does not fit is ignored. */
    void put(const voice_packet& packet, double now_s);

    /** Gives the next 20 ms.
     *  @return false for silence: nothing was said, frame is all zeros */
    [[nodiscard]] bool play(std::span<std::int16_t, voice_frame_samples> frame, double now_s);

    /** Forgets all audio and the source, as for a member that left; the counters stay. */
    void clear();

    [[nodiscard]] const playout_counters& counters() const;

  private:
    static constexpr std::size_t max_waiting_samples = 1600; // 200 ms

    voice_decoder decoder;
    playout_counters counted;
    std::array<std::int16_t, max_waiting_samples + max_voice_packet_samples> waiting{};
    std::size_t waiting_samples = 0;
};

} // namespace vocalink
