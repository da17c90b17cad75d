// SPDX-License-Identifier: GPL-3.0-or-later
// The three codecs of the demonstration's telephones.
#include "codec.hpp"

extern "C" { // which these headers leave to their reader
#include <bcg729/decoder.h>
#include <bcg729/encoder.h>
}
#include VOCALINK_ILBC_HEADER

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <stdexcept>

namespace vocalink::demo {

namespace {

constexpr int ulaw_bias = 132;
constexpr int ulaw_clip = 32635;

std::uint8_t ulaw_of_linear(std::int16_t sample) {
    const int sign = sample < 0 ? 0x80 : 0;
    const int magnitude = std::min(std::abs(static_cast<int>(sample)), ulaw_clip) + ulaw_bias;
    const auto exponent = static_cast<int>(std::bit_width(static_cast<unsigned>(magnitude) >> 8));
    const int mantissa = (magnitude >> (exponent + 3)) & 0x0F;
    return static_cast<std::uint8_t>(~(sign | exponent << 4 | mantissa));
}

class pcmu_codec : public codec {
  public:
    [[nodiscard]] int payload_type() const override { return 0; }
    [[nodiscard]] std::size_t payload_bytes() const override { return frame_samples; }

    void encode(const frame& samples, std::span<std::uint8_t> payload) override {
        std::transform(samples.begin(), samples.end(), payload.begin(), ulaw_of_linear);
    }
    void decode(std::span<const std::uint8_t> payload, frame& samples) override {
        std::transform(payload.begin(), payload.end(), samples.begin(), linear_of_ulaw);
    }
};

class g729_codec : public codec {
  public:
    [[nodiscard]] int payload_type() const override { return 18; }
    [[nodiscard]] std::size_t payload_bytes() const override { return 2 * block_bytes; }

    void encode(const frame& samples, std::span<std::uint8_t> payload) override {
        for (std::size_t block = 0; block < 2; ++block) {
            std::uint8_t length = 0;
            bcg729Encoder(encoder.get(), &samples[block * block_samples],
                          &payload[block * block_bytes], &length);
        }
    }
    void decode(std::span<const std::uint8_t> payload, frame& samples) override {
        for (std::size_t block = 0; block < 2; ++block) {
            bcg729Decoder(decoder.get(), &payload[block * block_bytes],
                          static_cast<std::uint8_t>(block_bytes), 0, 0, 0,
                          &samples[block * block_samples]);
        }
    }

  private:
    static constexpr std::size_t block_bytes = 10;   ///< 10 ms, encoded
    static constexpr std::size_t block_samples = 80; ///< 10 ms, linear

    std::unique_ptr<bcg729EncoderChannelContextStruct, decltype(&closeBcg729EncoderChannel)>
        encoder{initBcg729EncoderChannel(0), closeBcg729EncoderChannel};
    std::unique_ptr<bcg729DecoderChannelContextStruct, decltype(&closeBcg729DecoderChannel)>
        decoder{initBcg729DecoderChannel(), closeBcg729DecoderChannel};
};

class ilbc_codec : public codec {
  public:
    ilbc_codec() {
        IlbcEncoderInstance* new_encoder = nullptr;
        IlbcDecoderInstance* new_decoder = nullptr;
        WebRtcIlbcfix_EncoderCreate(&new_encoder);
        encoder.reset(new_encoder);
        WebRtcIlbcfix_DecoderCreate(&new_decoder);
        decoder.reset(new_decoder);
        if (!encoder || !decoder || WebRtcIlbcfix_EncoderInit(encoder.get(), mode_ms) != 0 ||
            WebRtcIlbcfix_DecoderInit(decoder.get(), mode_ms) != 0) {
            throw std::runtime_error("cannot set up the iLBC codec");
        }
    }
    [[nodiscard]] int payload_type() const override { return 109; }
    [[nodiscard]] std::size_t payload_bytes() const override { return 38; }

    void encode(const frame& samples, std::span<std::uint8_t> payload) override {
        WebRtcIlbcfix_Encode(encoder.get(), samples.data(), samples.size(), payload.data());
    }
    void decode(std::span<const std::uint8_t> payload, frame& samples) override {
        std::int16_t speech_type = 0;
        WebRtcIlbcfix_Decode(decoder.get(), payload.data(), payload.size(), samples.data(),
                             &speech_type);
    }

  private:
    static constexpr std::int16_t mode_ms = 20;

    std::unique_ptr<IlbcEncoderInstance, decltype(&WebRtcIlbcfix_EncoderFree)> encoder{
        nullptr, WebRtcIlbcfix_EncoderFree};
    std::unique_ptr<IlbcDecoderInstance, decltype(&WebRtcIlbcfix_DecoderFree)> decoder{
        nullptr, WebRtcIlbcfix_DecoderFree};
};

} // namespace

std::int16_t linear_of_ulaw(std::uint8_t byte) {
    const int bits = ~byte;
    const int exponent = (bits >> 4) & 7;
    const int magnitude = ((((bits & 0x0F) << 3) + ulaw_bias) << exponent) - ulaw_bias;
    return static_cast<std::int16_t>((bits & 0x80) != 0 ? -magnitude : magnitude);
}

std::unique_ptr<codec> make_codec(const std::string& encoding) {
    if (encoding == "PCMU") {
        return std::make_unique<pcmu_codec>();
    }
    if (encoding == "G729") {
        return std::make_unique<g729_codec>();
    }
    if (encoding == "ILBC20") {
        return std::make_unique<ilbc_codec>();
    }
    throw std::invalid_argument("no telephone here speaks " + encoding);
}

} // namespace vocalink::demo
