// SPDX-License-Identifier: GPL-3.0-or-later
// G.729 with the silence description of its Annex B as a row of the codecs.
#include "audio/g729_codec.hpp"

#include "util/c_handle.hpp"

#include <algorithm>
#include <array>

extern "C" {
#include <bcg729/decoder.h>
#include <bcg729/encoder.h>
}

namespace vocalink {

namespace {

using g729_decoder_ptr =
    util::c_handle<bcg729DecoderChannelContextStruct, closeBcg729DecoderChannel>;
using g729_encoder_ptr =
    util::c_handle<bcg729EncoderChannelContextStruct, closeBcg729EncoderChannel>;

constexpr int frame_samples = 80;

class g729_decoder : public codec_decoder {
  public:
    explicit g729_decoder(g729_decoder_ptr created) : state(std::move(created)) {}

    void decode(std::span<const std::uint8_t> payload, std::int16_t* samples) override {
        while (!payload.empty()) {
            const std::size_t bytes = std::min(payload.size(), std::size_t{g729_frame_bytes});
            const bool silence = bytes == g729_silence_description_bytes;
            bcg729Decoder(state.get(), payload.data(), static_cast<std::uint8_t>(bytes), 0,
                          silence ? 1 : 0, 0, samples);
            payload = payload.subspan(bytes);
            samples += frame_samples;
        }
    }

    int conceal(std::int16_t* samples) override {
        constexpr std::array<std::uint8_t, g729_frame_bytes> nothing{};
        bcg729Decoder(state.get(), nothing.data(), 0, 1, 0, 0, samples);
        return frame_samples;
    }

  private:
    g729_decoder_ptr state;
};

class g729_encoder : public codec_encoder {
  public:
    explicit g729_encoder(g729_encoder_ptr created) : state(std::move(created)) {}

    void encode(const std::int16_t* samples, std::uint8_t* payload) override {
        std::uint8_t length = 0; // always a whole frame without voice activity detection
        bcg729Encoder(state.get(), samples, payload, &length);
        bcg729Encoder(state.get(), samples + frame_samples, payload + g729_frame_bytes, &length);
    }

  private:
    g729_encoder_ptr state;
};

} // namespace

codec_decoder_ptr make_g729_decoder() {
    g729_decoder_ptr state(initBcg729DecoderChannel());
    return state ? std::make_unique<g729_decoder>(std::move(state)) : nullptr;
}

codec_encoder_ptr make_g729_encoder() {
    constexpr std::uint8_t voice_activity_detection_off = 0;
    g729_encoder_ptr state(initBcg729EncoderChannel(voice_activity_detection_off));
    return state ? std::make_unique<g729_encoder>(std::move(state)) : nullptr;
}

} // namespace vocalink
