// SPDX-License-Identifier: GPL-3.0-or-later
// The formats of recordings: one row each.
#include "recording/recording_format.hpp"

#include "recording/pcap.hpp"
#include "recording/wav.hpp"

namespace vocalink {

namespace {

std::string pcap_header(std::uint64_t) {
    const auto& header = pcap_global_header();
    return {header.begin(), header.end()};
}

constexpr recording_format recording_formats[] = {
    {pcap, "pcap", {".pcap", pcap_header}, std::nullopt}, {ulaw_in, "ulaw_in", {".ulaw"}, dir_in},
    {ulaw_out, "ulaw_out", {".ulaw"}, dir_out},           {g729_in, "g729_in", {".g729"}, dir_in},
    {g729_out, "g729_out", {".g729"}, dir_out},
};

} // namespace

const file_format wav_format{".wav", wav_header, true};

const recording_format& format_of(RecordingType type) {
    for (const recording_format& row : recording_formats) {
        if (row.type == type) {
            return row;
        }
    }
    return recording_formats[0];
}

std::optional<RecordingType> recording_type_of(std::string_view word) {
    for (const recording_format& row : recording_formats) {
        if (row.word == word) {
            return row.type;
        }
    }
    return std::nullopt;
}

} // namespace vocalink
