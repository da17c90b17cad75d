// SPDX-License-Identifier: GPL-3.0-or-later
// The payload types that streams carry.
#pragma once

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

/** Whether a payload type carries audio of one of the five codecs. */
[[nodiscard]] constexpr bool is_audio_payload(int payload_type) {
    return payload_type == PCMU || payload_type == PCMA || payload_type == G722 ||
           payload_type == G729 || payload_type == ILBC;
}

/** Whether a payload type carries telephone events. */
[[nodiscard]] constexpr bool is_event_payload(int payload_type) {
    return payload_type >= first_event_payload && payload_type <= last_event_payload;
}

} // namespace vocalink
