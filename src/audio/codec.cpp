// SPDX-License-Identifier: GPL-3.0-or-later
// The codecs, one row each: everything that depends on a codec reads it here.
#include "audio/codec.hpp"

#include "audio/g711_codec.hpp"
#include "audio/g722_codec.hpp"
#include "audio/g729_codec.hpp"
#include "audio/ilbc_codec.hpp"
#include "base/exceptions.hpp"

#include <algorithm>
#include <array>

namespace vocalink {

namespace {

constexpr std::array<unsigned char, 10> g729_silence = {0x78, 0x52, 0x80, 0xA0, 0x00,
                                                        0xFA, 0xC2, 0x00, 0x07, 0xD6};

constexpr auto g711_silence = [] {
    std::array<unsigned char, 160> frame{};
    for (std::size_t i = 0; i < frame.size(); ++i) {
        frame[i] = i % 2 == 0 ? 0x7F : 0xFF;
    }
    return frame;
}();

constexpr int samples_of_120_ms = 960;

// One codec a block, a subject a line.
// clang-format off
// The first row serves unknown words and types.
constexpr audio_codec rows[] = {
    {.word = "PCMU", .payload = PCMU, .format_name = "PCMU", .clock_hz = 8000,
     .frame_bytes = 160, .frame_samples = 160, .idle_byte = 0xFF,
     .unit_bytes = 1, .unit_samples = 1, .most_units = samples_of_120_ms, .last_unit_bytes = 0,
     .heard_in_mix = true, .file_in_mix = true, .hears_mix = true,
     .silence = g711_silence, .timestamps_per_byte = 1,
     .make_decoder = make_ulaw_decoder, .make_encoder = make_ulaw_encoder},
    {.word = "G711A", .payload = PCMA, .format_name = "PCMA", .clock_hz = 8000,
     .frame_bytes = 160, .frame_samples = 160, .idle_byte = 0xD5,
     .unit_bytes = 1, .unit_samples = 1, .most_units = samples_of_120_ms, .last_unit_bytes = 0,
     .heard_in_mix = false, .file_in_mix = false, .hears_mix = false,
     .silence = g711_silence, .timestamps_per_byte = 1,
     .make_decoder = make_alaw_decoder, .make_encoder = make_alaw_encoder},
    {.word = "G722", .payload = G722, .format_name = "G722", .clock_hz = 8000,
     .frame_bytes = 160, .frame_samples = 160, .idle_byte = 0xFC,
     .unit_bytes = 1, .unit_samples = 1, .most_units = samples_of_120_ms, .last_unit_bytes = 0,
     .heard_in_mix = false, .file_in_mix = false, .hears_mix = false,
     .silence = g711_silence, .timestamps_per_byte = 1,
     .make_decoder = make_g722_decoder, .make_encoder = make_g722_encoder},
    {.word = "G729", .payload = G729, .format_name = "G729", .clock_hz = 8000,
     .frame_bytes = 20, .frame_samples = 160, .idle_byte = 0,
     .unit_bytes = 10, .unit_samples = 80, .most_units = 12,
     .last_unit_bytes = g729_silence_description_bytes,
     .heard_in_mix = true, .file_in_mix = true, .hears_mix = true,
     .silence = g729_silence, .timestamps_per_byte = 8,
     .make_decoder = make_g729_decoder, .make_encoder = make_g729_encoder},
    {.word = "ILBC20", .payload = ILBC, .format_name = "iLBC", .clock_hz = 8000,
     .frame_bytes = 38, .frame_samples = 160, .idle_byte = 0,
     .unit_bytes = 38, .unit_samples = 160, .most_units = 6, .last_unit_bytes = 0,
     .heard_in_mix = false, .file_in_mix = true, .hears_mix = true,
     .silence = g711_silence, .timestamps_per_byte = 1,
     .make_decoder = make_ilbc20_decoder, .make_encoder = make_ilbc20_encoder},
    {.word = "ILBC30", .payload = ILBC, .format_name = "iLBC", .clock_hz = 8000,
     .frame_bytes = 50, .frame_samples = 240, .idle_byte = 0,
     .unit_bytes = 50, .unit_samples = 240, .most_units = 6, .last_unit_bytes = 0,
     .heard_in_mix = false, .file_in_mix = true, .hears_mix = true,
     .silence = g711_silence, .timestamps_per_byte = 1,
     .make_decoder = make_ilbc30_decoder, .make_encoder = make_ilbc30_encoder},
};
// clang-format on

/** The row of a payload type, µ-law's for an unknown one. Both rows of iLBC agree in everything that
 *  is looked up by type. */
const audio_codec& row_of(int payload_type) {
    const auto* const found = std::find_if(std::begin(rows), std::end(rows), [=](const auto& row) {
        return row.payload == payload_type;
    });
    return found != std::end(rows) ? *found : rows[0];
}

template <class State>
State checked(State state) {
    if (!state) {
        throw stream_exception("Could not create codec");
    }
    return state;
}

} // namespace

int audio_codec::samples_in(std::size_t bytes) const {
    const std::size_t rest = bytes % static_cast<std::size_t>(unit_bytes);
    std::size_t units = bytes / static_cast<std::size_t>(unit_bytes);
    if (rest != 0) {
        if (rest != static_cast<std::size_t>(last_unit_bytes)) {
            return 0;
        }
        units += 1;
    }
    return units <= static_cast<std::size_t>(most_units) ? static_cast<int>(units) * unit_samples
                                                         : 0;
}

codec_decoder_ptr audio_codec::new_decoder() const {
    return checked(make_decoder());
}

codec_encoder_ptr audio_codec::new_encoder() const {
    return checked(make_encoder());
}

std::span<const audio_codec> audio_codecs() {
    return rows;
}

const audio_codec& codec_of_word(std::string_view word) {
    const auto* const found = std::find_if(std::begin(rows), std::end(rows),
                                           [=](const auto& row) { return row.word == word; });
    return found != std::end(rows) ? *found : rows[0];
}

const audio_codec* find_codec(int payload_type, int frame_bytes) {
    const auto* const found = std::find_if(std::begin(rows), std::end(rows), [=](const auto& row) {
        return row.payload == payload_type && row.frame_bytes == frame_bytes;
    });
    return found != std::end(rows) ? found : nullptr;
}

int payload_ts_inc(rtp_payload payload) {
    return row_of(payload).timestamps_per_byte;
}

int payload_frame_size(rtp_payload payload) {
    return static_cast<int>(row_of(payload).silence.size());
}

const unsigned char* payload_silence_frame(rtp_payload payload) {
    return row_of(payload).silence.data();
}

} // namespace vocalink
