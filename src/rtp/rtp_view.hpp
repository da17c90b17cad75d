// SPDX-License-Identifier: GPL-3.0-or-later
// What one RTP packet says, parsed once.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

namespace vocalink {

/** The fields of one packet and where its payload lies. Numbers are in host order. The payload is a
 *  view of the packet's bytes and lives as long as they do. */
struct rtp_view {
    int payload_type = 0;
    bool marker = false;
    std::uint16_t sequence = 0;
    std::uint32_t timestamp = 0;
    std::uint32_t ssrc = 0; // as it stands in the packet: an SSRC is only compared
    int header_bytes = 0;   // before the payload
    int padding_bytes = 0;  // after the payload
    std::span<const std::uint8_t> payload;
};

/** Parses the fixed header alone, for relays, mixes and recordings. CSRC entries, the words of an
 *  extension and padding count as payload. Deliberate: docs/behaviours.md#rtp-header-size
 *
 *  A packet that is too short or not of version 2 has no payload; its header and its padding are
 *  both as long as the packet. The other fields are 0 in one that lacks a whole fixed header.
 *  @param packet  len bytes; nothing beyond them is read */
[[nodiscard]] rtp_view measure_rtp(const char* packet, int len);

/** Takes the packet apart as RFC 3550 5.1 lays it out: CSRC list, extension with its words, and
 *  padding, each checked against the length.
 *  @param packet  len bytes; nothing beyond them is read
 *  @return nothing for a packet that contradicts itself or is not of version 2 */
[[nodiscard]] std::optional<rtp_view> parse_rtp(const char* packet, int len);

} // namespace vocalink
