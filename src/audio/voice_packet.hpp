// SPDX-License-Identifier: GPL-3.0-or-later
// A received audio packet, as the playout side of a conference takes it.
#pragma once

#include <cstdint>
#include <span>

namespace vocalink {

/** Samples of one conference frame: 20 ms at 8 kHz. */
inline constexpr int voice_frame_samples = 160;

/** Samples of the longest packet that is decoded: six iLBC frames of 30 ms. */
inline constexpr int max_voice_packet_samples = 1440;

/** One RTP audio packet, header fields in host order. A view: the payload lives in the receiver's
 *  buffer and is copied by whoever keeps it. */
struct voice_packet {
    int payload_type;
    std::uint16_t sequence;
    std::uint32_t timestamp; // 8 kHz, for G.722 too (RFC 3551 4.5.2)
    std::uint32_t ssrc;
    bool marker;
    std::span<const std::uint8_t> payload;
};

} // namespace vocalink
