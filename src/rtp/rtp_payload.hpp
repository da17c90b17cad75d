// SPDX-License-Identifier: GPL-3.0-or-later
// The payload types that streams carry, and the facts about each.
#pragma once

#include <string_view>

namespace vocalink {

/** RTP payload types (RFC 3551, 109 dynamic); the values are those of the wire. */
enum rtp_payload : int {
    PCMU = 0,   // G.711 µ-law
    PCMA = 8,   // G.711 A-law
    G722 = 9,   // G.722
    G729 = 18,  // G.729
    ILBC = 109, // iLBC, 20 or 30 ms frames
};

/** Telephone events (RFC 4733) are taken on this range of dynamic payload types. */
inline constexpr int first_event_payload = 100;
inline constexpr int last_event_payload = 103;

/** The one of them that telephones use most. */
inline constexpr int usual_event_payload = 101;

/** Encoded bytes of a 30 ms iLBC frame; by this number a stream knows that its frames are 30 ms. */
inline constexpr int ilbc_30ms_frame_bytes = 50;

/** Everything runs at 8 kHz. */
inline constexpr int samples_per_ms = 8;

/** Samples of the longest frame, 30 ms at 8 kHz, and of the usual one, 20 ms. */
inline constexpr int max_frame_samples = 240;
inline constexpr int usual_frame_samples = 160;

/** Samples in a frame of that many encoded bytes. */
[[nodiscard]] constexpr int frame_samples_of(int frame_bytes) {
    return frame_bytes == ilbc_30ms_frame_bytes ? max_frame_samples : usual_frame_samples;
}

/** One G.729 frame is 10 ms; a packet carries two. */
inline constexpr int g729_frame_bytes = 10;
inline constexpr int g729_frame_samples = 80;

/** Whether a payload type carries audio of one of the five codecs. */
[[nodiscard]] constexpr bool is_audio_payload(int payload_type) {
    return payload_type == PCMU || payload_type == PCMA || payload_type == G722 ||
           payload_type == G729 || payload_type == ILBC;
}

/** Whether a payload type carries telephone events. */
[[nodiscard]] constexpr bool is_event_payload(int payload_type) {
    return payload_type >= first_event_payload && payload_type <= last_event_payload;
}

/** What an encoding word selects. */
struct encoding_settings {
    rtp_payload payload;
    int frame_bytes; // encoded bytes per packet
};

/** The settings of "G729", "ILBC20", "ILBC30", "G722" and "G711A"; every other text means µ-law. */
[[nodiscard]] encoding_settings settings_of_encoding(std::string_view encoding);

/** RTP timestamp units per payload byte. */
[[nodiscard]] int payload_ts_inc(rtp_payload payload);

/** Bytes of one codec frame: 10 (10 ms) for G.729, 160 (20 ms of G.711) for all others. */
[[nodiscard]] int payload_frame_size(rtp_payload payload);

/** One frame of silence, payload_frame_size() bytes, constant. */
[[nodiscard]] const unsigned char* payload_silence_frame(rtp_payload payload);

/** The registered name of the format (RFC 3551, RFC 3952): "PCMU", "PCMA", "G722", "G729" or
 *  "iLBC". */
[[nodiscard]] const char* payload_to_rtp_format_string(rtp_payload payload);

} // namespace vocalink
