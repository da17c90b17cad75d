// SPDX-License-Identifier: GPL-3.0-or-later
// The player of sound files in a conference: every codec is heard, at the pace of the tick.
#include "audio/voice_decoder.hpp"
#include "streams/conference_leg.hpp"
#include "streams/sound_stream.hpp"

#include <algorithm>

namespace vocalink {

class sound_stream::leg : public conference_leg {
  public:
    explicit leg(sound_stream& playing)
        : owner(playing), voice(playing.payload == ILBC ? int{ILBC} : -1, playing.frame_bytes) {}

    [[nodiscard]] std::optional<tick_view> speak(double) override {
        while (waiting < tick_samples && read_packet()) {
        }
        if (waiting == 0) {
            return {};
        }
        const std::size_t taken = std::min(waiting, tick_samples);
        std::copy_n(samples.begin(), taken, frame.begin());
        std::fill(frame.begin() + static_cast<std::ptrdiff_t>(taken), frame.end(), 0);
        std::copy(samples.begin() + static_cast<std::ptrdiff_t>(taken),
                  samples.begin() + static_cast<std::ptrdiff_t>(waiting), samples.begin());
        waiting -= taken;
        return frame;
    }

  private:
    /** Decodes the next frame of the file behind what waits. */
    bool read_packet() {
        alignas(16) char packet[max_packet_bytes];
        const int len = owner.read_incoming_rtp(packet, sizeof packet, false);
        if (len <= rtp_header_bytes) {
            return false;
        }
        std::array<std::int16_t, max_voice_packet_samples> decoded;
        const auto* const encoded = reinterpret_cast<const std::uint8_t*>(packet);
        const int count = voice.decode(
            owner.payload,
            {encoded + rtp_header_bytes, static_cast<std::size_t>(len - rtp_header_bytes)},
            decoded);
        std::copy_n(decoded.begin(), count, samples.begin() + static_cast<std::ptrdiff_t>(waiting));
        waiting += static_cast<std::size_t>(count);
        return count > 0;
    }

    sound_stream& owner;
    voice_decoder voice;
    std::array<std::int16_t, tick_samples + max_frame_samples> samples{};
    std::size_t waiting = 0; // samples decoded and not yet said
    tick_frame frame{};
};

std::unique_ptr<conference_leg> sound_stream::make_conference_leg() {
    return std::make_unique<leg>(*this);
}

} // namespace vocalink
