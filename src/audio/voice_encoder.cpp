// SPDX-License-Identifier: GPL-3.0-or-later
// Encoding of what a conference member hears, 20 ms at a time.
#include "audio/voice_encoder.hpp"

#include "base/exceptions.hpp"

#include <algorithm>

namespace vocalink {

namespace {

const audio_codec& codec_of(rtp_payload payload, int frame_bytes) {
    const audio_codec* const found = find_codec(payload, frame_bytes);
    if (found == nullptr) {
        throw stream_exception("Could not create codec");
    }
    return *found;
}

} // namespace

voice_encoder::voice_encoder(rtp_payload stream_payload, int stream_frame_bytes)
    : codec(codec_of(stream_payload, stream_frame_bytes)), encoder(codec.new_encoder()),
      waiting(packet_samples() == voice_frame_samples ? 0 : max_waiting_samples) {}

std::size_t voice_encoder::encode(std::span<const std::int16_t, voice_frame_samples> frame,
                                  std::span<std::uint8_t, max_payload_bytes> payload) {
    const int samples = packet_samples();
    if (samples == voice_frame_samples) {
        encoder->encode(frame.data(), payload.data());
    } else {
        std::copy(frame.begin(), frame.end(), waiting.begin() + waiting_samples);
        waiting_samples += voice_frame_samples;
        if (waiting_samples < samples) {
            return 0;
        }
        encoder->encode(waiting.data(), payload.data());
        std::copy(waiting.begin() + samples, waiting.begin() + waiting_samples, waiting.begin());
        waiting_samples -= samples;
    }
    return static_cast<std::size_t>(codec.frame_bytes);
}

int voice_encoder::packet_samples() const {
    return codec.frame_samples;
}

} // namespace vocalink
