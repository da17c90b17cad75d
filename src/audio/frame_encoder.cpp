// SPDX-License-Identifier: GPL-3.0-or-later
// Encoding of a stream's frames.
#include "audio/frame_encoder.hpp"

#include "audio/g711.hpp"
#include "base/exceptions.hpp"

#include <cstdint>

namespace vocalink {

namespace {

ilbc_encoder_ptr make_ilbc_encoder(int frame_bytes) {
    IlbcEncoderInstance* made = nullptr;
    if (WebRtcIlbcfix_EncoderCreate(&made) != 0) {
        throw stream_exception("Could not create codec");
    }
    ilbc_encoder_ptr encoder(made);
    WebRtcIlbcfix_EncoderInit(
        encoder.get(), static_cast<std::int16_t>(frame_samples_of(frame_bytes) / samples_per_ms));
    return encoder;
}

} // namespace

frame_encoder::frame_encoder(rtp_payload stream_payload, int packet_bytes)
    : payload(stream_payload), frame_bytes(packet_bytes) {
    if (payload == G729) {
        constexpr std::uint8_t voice_activity_detection_off = 0;
        g729_encoder.reset(initBcg729EncoderChannel(voice_activity_detection_off));
        if (!g729_encoder) {
            throw stream_exception("Could not create codec");
        }
    } else if (payload == ILBC) {
        ilbc_encoder = make_ilbc_encoder(frame_bytes);
    }
}

void frame_encoder::encode(const short* samples, char* encoded) {
    auto* const octets = reinterpret_cast<std::uint8_t*>(encoded);
    switch (payload) {
    case G729: {
        std::uint8_t length = 0; // always a whole frame without voice activity detection
        bcg729Encoder(g729_encoder.get(), samples, octets, &length);
        bcg729Encoder(g729_encoder.get(), samples + g729_frame_samples, octets + g729_frame_bytes,
                      &length);
        break;
    }
    case ILBC:
        WebRtcIlbcfix_Encode(ilbc_encoder.get(), samples,
                             static_cast<std::size_t>(frame_samples_of(frame_bytes)), octets);
        break;
    case PCMU:
        linear2ulaw(samples, encoded, frame_bytes);
        break;
    case PCMA:
    case G722:
        break;
    }
}

char idle_payload_byte(rtp_payload payload) {
    return static_cast<char>(payload == PCMA ? 0xD5 : 0xFC);
}

} // namespace vocalink
