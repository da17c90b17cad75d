// SPDX-License-Identifier: GPL-3.0-or-later
// Decoding of received frames.
#include "audio/frame_decoder.hpp"

#include "base/exceptions.hpp"

#include <cstddef>
#include <cstdint>

namespace vocalink {

namespace {

ilbc_decoder_ptr make_ilbc_decoder(int frame_bytes) {
    IlbcDecoderInstance* made = nullptr;
    if (WebRtcIlbcfix_DecoderCreate(&made) != 0) {
        throw stream_exception("Could not create codec");
    }
    ilbc_decoder_ptr decoder(made);
    WebRtcIlbcfix_DecoderInit(
        decoder.get(), static_cast<std::int16_t>(frame_samples_of(frame_bytes) / samples_per_ms));
    return decoder;
}

} // namespace

frame_decoder::frame_decoder(rtp_payload payload, int packet_bytes) : frame_bytes(packet_bytes) {
    if (payload == G729) {
        g729_decoder.reset(initBcg729DecoderChannel());
        if (!g729_decoder) {
            throw stream_exception("Could not create codec");
        }
    } else if (payload == ILBC) {
        ilbc_decoder = make_ilbc_decoder(frame_bytes);
    }
}

void frame_decoder::decode_g729(const char* encoded, short* samples) {
    const auto* octets = reinterpret_cast<const std::uint8_t*>(encoded);
    for (int frame = 0; frame < 2; ++frame) {
        bcg729Decoder(g729_decoder.get(), octets, g729_frame_bytes, 0, 0, 0, samples);
        octets += g729_frame_bytes;
        samples += g729_frame_samples;
    }
}

void frame_decoder::decode_ilbc(const char* encoded, short* samples) {
    std::int16_t speech_type = 0;
    WebRtcIlbcfix_Decode(ilbc_decoder.get(), reinterpret_cast<const std::uint8_t*>(encoded),
                         static_cast<std::size_t>(frame_bytes), samples, &speech_type);
}

} // namespace vocalink
