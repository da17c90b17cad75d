// SPDX-License-Identifier: GPL-3.0-or-later
// G.722 at 64 kbit/s and 8 kHz as a row of the codecs.
#include "audio/g722_codec.hpp"

#include "audio/frame.hpp"
#include "util/c_handle.hpp"

#include <spandsp.h>

namespace vocalink {

namespace {

using g722_decoder_ptr = util::c_handle<g722_decode_state_t, g722_decode_free>;
using g722_encoder_ptr = util::c_handle<g722_encode_state_t, g722_encode_free>;

constexpr int bit_rate = 64000;

class g722_decoder : public codec_decoder {
  public:
    explicit g722_decoder(g722_decoder_ptr created) : state(std::move(created)) {}

    void decode(std::span<const std::uint8_t> payload, std::int16_t* samples) override {
        g722_decode(state.get(), samples, payload.data(), static_cast<int>(payload.size()));
    }
    void restart() override { g722_decode_init(state.get(), bit_rate, G722_SAMPLE_RATE_8000); }

  private:
    g722_decoder_ptr state;
};

class g722_encoder : public codec_encoder {
  public:
    explicit g722_encoder(g722_encoder_ptr created) : state(std::move(created)) {}

    void encode(const std::int16_t* samples, std::uint8_t* payload) override {
        g722_encode(state.get(), payload, samples, usual_frame_samples);
    }

  private:
    g722_encoder_ptr state;
};

} // namespace

codec_decoder_ptr make_g722_decoder() {
    g722_decoder_ptr state(g722_decode_init(nullptr, bit_rate, G722_SAMPLE_RATE_8000));
    return state ? std::make_unique<g722_decoder>(std::move(state)) : nullptr;
}

codec_encoder_ptr make_g722_encoder() {
    g722_encoder_ptr state(g722_encode_init(nullptr, bit_rate, G722_SAMPLE_RATE_8000));
    return state ? std::make_unique<g722_encoder>(std::move(state)) : nullptr;
}

} // namespace vocalink
