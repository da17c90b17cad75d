// SPDX-License-Identifier: GPL-3.0-or-later
// The codec states of one stream, and the encoding and decoding of its frames.
#include "streams/codec.hpp"

#include "streams/g711.hpp"
#include "util/exceptions.hpp"

#include <cstddef>
#include <cstdint>

namespace vocalink {

namespace {

// A packet carries two G.729 frames of 10 ms.
constexpr std::size_t g729_frame_bytes = 10;
constexpr std::size_t g729_frame_samples = 80;

constexpr int ilbc_30ms_frame_bytes = 50;

std::uint8_t* octets(char* bytes) {
    return reinterpret_cast<std::uint8_t*>(bytes);
}

const std::uint8_t* octets(const char* bytes) {
    return reinterpret_cast<const std::uint8_t*>(bytes);
}

ilbc_encoder_ptr make_ilbc_encoder(std::int16_t frame_ms) {
    IlbcEncoderInstance* made = nullptr;
    if (WebRtcIlbcfix_EncoderCreate(&made) != 0) {
        throw stream_exception("Could not create codec");
    }
    ilbc_encoder_ptr encoder(made);
    WebRtcIlbcfix_EncoderInit(encoder.get(), frame_ms);
    return encoder;
}

ilbc_decoder_ptr make_ilbc_decoder(std::int16_t frame_ms) {
    IlbcDecoderInstance* made = nullptr;
    if (WebRtcIlbcfix_DecoderCreate(&made) != 0) {
        throw stream_exception("Could not create codec");
    }
    ilbc_decoder_ptr decoder(made);
    WebRtcIlbcfix_DecoderInit(decoder.get(), frame_ms);
    return decoder;
}

} // namespace

codec::codec(rtp_payload stream_payload, int packet_bytes)
    : payload(stream_payload), frame_bytes(packet_bytes) {
    if (payload == G729) {
        constexpr std::uint8_t voice_activity_detection_off = 0;
        g729_encoder.reset(initBcg729EncoderChannel(voice_activity_detection_off));
        g729_decoder.reset(initBcg729DecoderChannel());
        if (!g729_encoder || !g729_decoder) {
            throw stream_exception("Could not create codec");
        }
    } else if (payload == ILBC) {
        const std::int16_t frame_ms = frame_bytes == ilbc_30ms_frame_bytes ? 30 : 20;
        ilbc_encoder = make_ilbc_encoder(frame_ms);
        ilbc_decoder = make_ilbc_decoder(frame_ms);
    }
}

void codec::encode(const short* samples, char* encoded) {
    switch (payload) {
    case G729: {
        std::uint8_t length = 0; // always a whole frame without voice activity detection
        bcg729Encoder(g729_encoder.get(), samples, octets(encoded), &length);
        bcg729Encoder(g729_encoder.get(), samples + g729_frame_samples,
                      octets(encoded + g729_frame_bytes), &length);
        break;
    }
    case ILBC:
        WebRtcIlbcfix_Encode(ilbc_encoder.get(), samples,
                             frame_bytes == ilbc_30ms_frame_bytes ? 240 : 160, octets(encoded));
        break;
    case PCMU:
        linear2ulaw(samples, encoded, frame_bytes);
        break;
    case PCMA:
    case G722:
        break;
    }
}

void codec::decode_g729(const char* encoded, short* samples) {
    for (std::size_t frame = 0; frame < 2; ++frame) {
        bcg729Decoder(g729_decoder.get(), octets(encoded + frame * g729_frame_bytes),
                      g729_frame_bytes, 0, 0, 0, samples + frame * g729_frame_samples);
    }
}

void codec::decode_ilbc(const char* encoded, short* samples) {
    std::int16_t speech_type = 0;
    WebRtcIlbcfix_Decode(ilbc_decoder.get(), octets(encoded), static_cast<std::size_t>(frame_bytes),
                         samples, &speech_type);
}

char idle_payload_byte(rtp_payload payload) {
    return static_cast<char>(payload == PCMA ? 0xD5 : 0xFC);
}

} // namespace vocalink
