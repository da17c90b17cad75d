// SPDX-License-Identifier: GPL-3.0-or-later
// iLBC, in frames of 20 and 30 ms, as a row of the codecs.
#include "audio/ilbc_codec.hpp"

#include "util/c_handle.hpp"

#include <algorithm>
#include <array>

#include VOCALINK_ILBC_HEADER

namespace vocalink {

namespace {

using ilbc_encoder_ptr = util::c_handle<IlbcEncoderInstance, WebRtcIlbcfix_EncoderFree>;
using ilbc_decoder_ptr = util::c_handle<IlbcDecoderInstance, WebRtcIlbcfix_DecoderFree>;

/** One of the two modes. */
struct ilbc_mode {
    std::int16_t milliseconds;
    std::size_t frame_bytes;
    int frame_samples;
};

constexpr ilbc_mode mode_20{20, 38, 160};
constexpr ilbc_mode mode_30{30, 50, 240};

class ilbc_decoder : public codec_decoder {
  public:
    ilbc_decoder(ilbc_decoder_ptr created, const ilbc_mode& chosen)
        : state(std::move(created)), mode(chosen) {
        WebRtcIlbcfix_DecoderInit(state.get(), mode.milliseconds);
    }

    void decode(std::span<const std::uint8_t> payload, std::int16_t* samples) override {
        // The library reads 16-bit words, and takes frames of another length for the other mode: it
        // gets one aligned frame at a time.
        alignas(std::int16_t) std::array<std::uint8_t, mode_30.frame_bytes> frame{};
        while (!payload.empty()) {
            std::copy_n(payload.begin(), mode.frame_bytes, frame.begin());
            std::int16_t speech_type = 0;
            WebRtcIlbcfix_Decode(state.get(), frame.data(), mode.frame_bytes, samples,
                                 &speech_type);
            payload = payload.subspan(mode.frame_bytes);
            samples += mode.frame_samples;
        }
    }

    int conceal(std::int16_t* samples) override {
        return static_cast<int>(WebRtcIlbcfix_DecodePlc(state.get(), samples, 1));
    }

    void restart() override { WebRtcIlbcfix_DecoderInit(state.get(), mode.milliseconds); }

  private:
    ilbc_decoder_ptr state;
    const ilbc_mode& mode;
};

class ilbc_encoder : public codec_encoder {
  public:
    ilbc_encoder(ilbc_encoder_ptr created, const ilbc_mode& chosen)
        : state(std::move(created)), mode(chosen) {
        WebRtcIlbcfix_EncoderInit(state.get(), mode.milliseconds);
    }

    void encode(const std::int16_t* samples, std::uint8_t* payload) override {
        WebRtcIlbcfix_Encode(state.get(), samples, static_cast<std::size_t>(mode.frame_samples),
                             payload);
    }

  private:
    ilbc_encoder_ptr state;
    const ilbc_mode& mode;
};

codec_decoder_ptr make_decoder(const ilbc_mode& mode) {
    IlbcDecoderInstance* created = nullptr;
    if (WebRtcIlbcfix_DecoderCreate(&created) != 0) {
        return nullptr;
    }
    return std::make_unique<ilbc_decoder>(ilbc_decoder_ptr(created), mode);
}

codec_encoder_ptr make_encoder(const ilbc_mode& mode) {
    IlbcEncoderInstance* created = nullptr;
    if (WebRtcIlbcfix_EncoderCreate(&created) != 0) {
        return nullptr;
    }
    return std::make_unique<ilbc_encoder>(ilbc_encoder_ptr(created), mode);
}

} // namespace

codec_decoder_ptr make_ilbc20_decoder() {
    return make_decoder(mode_20);
}

codec_encoder_ptr make_ilbc20_encoder() {
    return make_encoder(mode_20);
}

codec_decoder_ptr make_ilbc30_decoder() {
    return make_decoder(mode_30);
}

codec_encoder_ptr make_ilbc30_encoder() {
    return make_encoder(mode_30);
}

} // namespace vocalink
