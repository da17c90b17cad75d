// SPDX-License-Identifier: GPL-3.0-or-later
// G.711, µ-law and A-law, as a row of the codecs.
#include "audio/g711_codec.hpp"

#include "audio/frame.hpp"
#include "audio/g711.hpp"

namespace vocalink {

namespace {

template <void (*Decode)(const char*, short*, int)>
class g711_decoder : public codec_decoder {
  public:
    void decode(std::span<const std::uint8_t> payload, std::int16_t* samples) override {
        Decode(reinterpret_cast<const char*>(payload.data()), samples,
               static_cast<int>(payload.size()));
    }
    [[nodiscard]] bool is_shared() const override { return true; }
};

template <void (*Encode)(const short*, char*, int)>
class g711_encoder : public codec_encoder {
  public:
    void encode(const std::int16_t* samples, std::uint8_t* payload) override {
        Encode(samples, reinterpret_cast<char*>(payload), usual_frame_samples);
    }
    [[nodiscard]] bool is_shared() const override { return true; }
};

template <class Coder>
Coder* the_one() {
    static Coder one;
    return &one;
}

} // namespace

codec_decoder_ptr make_ulaw_decoder() {
    return codec_decoder_ptr(the_one<g711_decoder<ulaw2linear>>());
}

codec_encoder_ptr make_ulaw_encoder() {
    return codec_encoder_ptr(the_one<g711_encoder<linear2ulaw>>());
}

codec_decoder_ptr make_alaw_decoder() {
    return codec_decoder_ptr(the_one<g711_decoder<alaw2linear>>());
}

codec_encoder_ptr make_alaw_encoder() {
    return codec_encoder_ptr(the_one<g711_encoder<linear2alaw>>());
}

} // namespace vocalink
