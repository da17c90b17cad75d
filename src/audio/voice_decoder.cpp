// SPDX-License-Identifier: GPL-3.0-or-later
// Decoding of a conference member's packets, whatever codec each of them is in.
#include "audio/voice_decoder.hpp"

#include "audio/g711.hpp"

#include <algorithm>
#include <array>

namespace vocalink {

namespace {

constexpr int max_frames_ilbc = 6;
constexpr std::size_t max_samples_120ms = 960;
constexpr std::size_t silence_description_bytes = 2; // G.729 Annex B

constexpr int g722_bit_rate = 64000;

} // namespace

voice_decoder::voice_decoder(int ilbc_type, int ilbc_bytes)
    : ilbc_payload_type(ilbc_type), ilbc_frame_bytes(ilbc_bytes) {}

bool voice_decoder::accepts(int payload_type) const {
    return payload_type == PCMU || payload_type == PCMA || payload_type == G722 ||
           payload_type == G729 || (payload_type == ilbc_payload_type && payload_type >= 0);
}

int voice_decoder::samples_in(int payload_type, std::size_t bytes) const {
    if (bytes == 0 || !accepts(payload_type)) {
        return 0;
    }
    if (payload_type == ilbc_payload_type) {
        const auto frame = static_cast<std::size_t>(ilbc_frame_bytes);
        const bool whole = bytes % frame == 0 && bytes / frame <= max_frames_ilbc;
        return whole ? static_cast<int>(bytes / frame) * frame_samples_of(ilbc_frame_bytes) : 0;
    }
    if (payload_type != G729) {
        return bytes <= max_samples_120ms ? static_cast<int>(bytes) : 0;
    }
    // Speech frames, then perhaps one silence description (RFC 3551 4.5.6).
    const std::size_t rest = bytes % g729_frame_bytes;
    const std::size_t frames = bytes / g729_frame_bytes + (rest == 0 ? 0 : 1);
    const std::size_t samples = frames * g729_frame_samples;
    const bool whole = rest == 0 || rest == silence_description_bytes;
    return whole && samples <= max_samples_120ms ? static_cast<int>(samples) : 0;
}

bool voice_decoder::make_state(int payload_type) {
    if (payload_type == ilbc_payload_type) {
        if (!ilbc) {
            IlbcDecoderInstance* made = nullptr;
            if (WebRtcIlbcfix_DecoderCreate(&made) != 0) {
                return false;
            }
            ilbc.reset(made);
            restart();
        }
    } else if (payload_type == G729 && !g729) {
        g729.reset(initBcg729DecoderChannel());
        return g729 != nullptr;
    } else if (payload_type == G722 && !g722) {
        g722.reset(g722_decode_init(nullptr, g722_bit_rate, G722_SAMPLE_RATE_8000));
        return g722 != nullptr;
    }
    return true;
}

int voice_decoder::decode(int payload_type, std::span<const std::uint8_t> payload,
                          std::span<std::int16_t, max_voice_packet_samples> out) {
    const int samples = samples_in(payload_type, payload.size());
    if (samples == 0 || !make_state(payload_type)) {
        return 0;
    }
    const auto* const bytes = reinterpret_cast<const char*>(payload.data());
    if (payload_type == ilbc_payload_type) {
        decode_ilbc(payload, out.data());
    } else if (payload_type == G729) {
        decode_g729(payload, out.data());
    } else if (payload_type == G722) {
        g722_decode(g722.get(), out.data(), payload.data(), samples);
    } else if (payload_type == PCMA) {
        alaw2linear(bytes, out.data(), samples);
    } else {
        ulaw2linear(bytes, out.data(), samples);
    }
    return samples;
}

void voice_decoder::decode_g729(std::span<const std::uint8_t> payload, std::int16_t* out) {
    while (!payload.empty()) {
        const std::size_t bytes = std::min<std::size_t>(payload.size(), g729_frame_bytes);
        const bool silence = bytes == silence_description_bytes;
        bcg729Decoder(g729.get(), payload.data(), static_cast<std::uint8_t>(bytes), 0,
                      silence ? 1 : 0, 0, out);
        payload = payload.subspan(bytes);
        out += g729_frame_samples;
    }
}

void voice_decoder::decode_ilbc(std::span<const std::uint8_t> payload, std::int16_t* out) {
    // The library reads 16-bit words, and takes frames of another length for the other mode: it
    // gets one aligned frame at a time.
    alignas(std::int16_t) std::array<std::uint8_t, ilbc_30ms_frame_bytes> frame{};
    const auto frame_bytes = static_cast<std::size_t>(ilbc_frame_bytes);
    while (!payload.empty()) {
        std::copy_n(payload.begin(), frame_bytes, frame.begin());
        std::int16_t speech_type = 0;
        WebRtcIlbcfix_Decode(ilbc.get(), frame.data(), frame_bytes, out, &speech_type);
        payload = payload.subspan(frame_bytes);
        out += frame_samples_of(ilbc_frame_bytes);
    }
}

int voice_decoder::conceal(int payload_type, std::span<std::int16_t, max_concealed_samples> out) {
    if (payload_type == ilbc_payload_type && ilbc) {
        return static_cast<int>(WebRtcIlbcfix_DecodePlc(ilbc.get(), out.data(), 1));
    }
    if (payload_type == G729 && g729) {
        constexpr std::array<std::uint8_t, g729_frame_bytes> nothing{};
        bcg729Decoder(g729.get(), nothing.data(), 0, 1, 0, 0, out.data());
        return g729_frame_samples;
    }
    return 0;
}

void voice_decoder::restart() {
    if (ilbc) {
        WebRtcIlbcfix_DecoderInit(
            ilbc.get(),
            static_cast<std::int16_t>(frame_samples_of(ilbc_frame_bytes) / samples_per_ms));
    }
    if (g722) {
        g722_decode_init(g722.get(), g722_bit_rate, G722_SAMPLE_RATE_8000);
    }
}

} // namespace vocalink
