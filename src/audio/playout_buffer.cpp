// SPDX-License-Identifier: GPL-3.0-or-later
// What one conference member says, from packets as they come to 20 ms of samples every tick.
#include "audio/playout_buffer.hpp"

#include <algorithm>

namespace vocalink {

playout_buffer::playout_buffer(int ilbc_type, int ilbc_bytes) : decoder(ilbc_type, ilbc_bytes) {}

bool playout_buffer::accepts(int payload_type) const {
    return decoder.accepts(payload_type);
}

void playout_buffer::put(const voice_packet& packet, [[maybe_unused]] double now_s) {
    const std::span<std::int16_t, max_voice_packet_samples> place(waiting.data() + waiting_samples,
                                                                  max_voice_packet_samples);
    waiting_samples +=
        static_cast<std::size_t>(decoder.decode(packet.payload_type, packet.payload, place));
    if (waiting_samples > max_waiting_samples) {
        const std::size_t old = waiting_samples - max_waiting_samples;
        std::copy(waiting.begin() + old, waiting.begin() + waiting_samples, waiting.begin());
        waiting_samples = max_waiting_samples;
    }
}

bool playout_buffer::play(std::span<std::int16_t, voice_frame_samples> frame,
                          [[maybe_unused]] double now_s) {
    if (waiting_samples < frame.size()) {
        std::fill(frame.begin(), frame.end(), std::int16_t{0});
        return false;
    }
    std::copy_n(waiting.begin(), frame.size(), frame.begin());
    std::copy(waiting.begin() + frame.size(), waiting.begin() + waiting_samples, waiting.begin());
    waiting_samples -= frame.size();
    return true;
}

void playout_buffer::clear() {
    waiting_samples = 0;
}

const playout_counters& playout_buffer::counters() const {
    return counted;
}

} // namespace vocalink
