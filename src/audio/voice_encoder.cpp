// SPDX-License-Identifier: GPL-3.0-or-later
// Encoding of what a conference member hears, 20 ms at a time.
#include "audio/voice_encoder.hpp"

#include "audio/g711.hpp"
#include "base/exceptions.hpp"

#include <algorithm>
#include <cstddef>

namespace vocalink {

namespace {

constexpr int g722_bit_rate = 64000;

} // namespace

voice_encoder::voice_encoder(rtp_payload stream_payload, int stream_frame_bytes)
    : payload(stream_payload), frame_bytes(stream_frame_bytes),
      encoder(stream_payload, stream_frame_bytes) {
    if (payload == G722) {
        g722.reset(g722_encode_init(nullptr, g722_bit_rate, G722_SAMPLE_RATE_8000));
        if (!g722) {
            throw stream_exception("Could not create codec");
        }
    }
}

std::span<const std::uint8_t>
voice_encoder::encode(std::span<const std::int16_t, voice_frame_samples> frame) {
    const int samples = packet_samples();
    if (samples == voice_frame_samples) {
        return encode_packet(frame.data());
    }
    std::copy(frame.begin(), frame.end(), waiting.begin() + waiting_samples);
    waiting_samples += voice_frame_samples;
    if (waiting_samples < samples) {
        return {};
    }
    const std::span<const std::uint8_t> packet = encode_packet(waiting.data());
    std::copy(waiting.begin() + samples, waiting.begin() + waiting_samples, waiting.begin());
    waiting_samples -= samples;
    return packet;
}

int voice_encoder::packet_samples() const {
    return payload == ILBC ? frame_samples_of(frame_bytes) : voice_frame_samples;
}

std::span<const std::uint8_t> voice_encoder::encode_packet(const std::int16_t* samples) {
    auto* const bytes = reinterpret_cast<char*>(encoded.data());
    switch (payload) {
    case PCMA:
        linear2alaw(samples, bytes, voice_frame_samples);
        return encoded;
    case G722:
        g722_encode(g722.get(), encoded.data(), samples, voice_frame_samples);
        return encoded;
    case PCMU:
    case G729:
    case ILBC:
        break;
    }
    encoder.encode(samples, bytes);
    return std::span(encoded).first(static_cast<std::size_t>(frame_bytes));
}

} // namespace vocalink
