// SPDX-License-Identifier: GPL-3.0-or-later
// The formats of recordings: one row each.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace vocalink {

enum RecordingType : int {
    pcap = 0,     // packets of both directions
    ulaw_in = 1,  // payloads received, ".ulaw"
    ulaw_out = 2, // payloads sent
    g729_in = 3,  // payloads received, ".g729"
    g729_out = 4, // payloads sent
};

/** Direction of a packet, as its stream sees it. */
enum RecordingDirs : int {
    dir_in = 0,
    dir_out = 1,
};

/** What a file has besides its records. */
struct file_format {
    const char* extension;
    /** The header of a file with that many bytes of records; null for a file without. */
    std::string (*header)(std::uint64_t record_bytes) = nullptr;
    /** Whether the header tells the size, so that it is written anew as the file grows. */
    bool header_has_size = false;
};

/** A type of the recording command. */
struct recording_format {
    RecordingType type;
    std::string_view word; // of the command
    file_format file;
    /** The direction whose audio payloads it keeps; none: all packets, with their headers. */
    std::optional<RecordingDirs> payloads_of;
};

/** The row of a type. */
[[nodiscard]] const recording_format& format_of(RecordingType type);

/** The type that a word of the command names. */
[[nodiscard]] std::optional<RecordingType> recording_type_of(std::string_view word);

/** RIFF, 16-bit PCM, 8 kHz, mono. */
extern const file_format wav_format;

} // namespace vocalink
