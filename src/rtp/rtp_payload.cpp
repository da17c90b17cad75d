// SPDX-License-Identifier: GPL-3.0-or-later
// The payload types that streams carry, and the facts about each.
#include "rtp/rtp_payload.hpp"

#include <array>
#include <cstddef>

namespace vocalink {

namespace {

constexpr std::array<unsigned char, g729_frame_bytes> g729_silence = {0x78, 0x52, 0x80, 0xA0, 0x00,
                                                                      0xFA, 0xC2, 0x00, 0x07, 0xD6};

constexpr auto g711_silence = [] {
    std::array<unsigned char, 160> frame{};
    for (std::size_t i = 0; i < frame.size(); ++i) {
        frame[i] = i % 2 == 0 ? 0x7F : 0xFF;
    }
    return frame;
}();

} // namespace

encoding_settings settings_of_encoding(std::string_view encoding) {
    if (encoding == "G729") {
        return {G729, 20};
    }
    if (encoding == "ILBC20") {
        return {ILBC, 38};
    }
    if (encoding == "ILBC30") {
        return {ILBC, ilbc_30ms_frame_bytes};
    }
    if (encoding == "G722") {
        return {G722, 160};
    }
    if (encoding == "G711A") {
        return {PCMA, 160};
    }
    return {PCMU, 160};
}

int payload_ts_inc(rtp_payload payload) {
    return payload == G729 ? 8 : 1;
}

int payload_frame_size(rtp_payload payload) {
    return static_cast<int>(payload == G729 ? g729_silence.size() : g711_silence.size());
}

const unsigned char* payload_silence_frame(rtp_payload payload) {
    return payload == G729 ? g729_silence.data() : g711_silence.data();
}

const char* payload_to_rtp_format_string(rtp_payload payload) {
    switch (payload) {
    case PCMU:
        break;
    case PCMA:
        return "PCMA";
    case G722:
        return "G722";
    case G729:
        return "G729";
    case ILBC:
        return "iLBC";
    }
    return "PCMU";
}

} // namespace vocalink
