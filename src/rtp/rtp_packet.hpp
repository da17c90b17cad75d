// SPDX-License-Identifier: GPL-3.0-or-later
// The RTP header as it lies on the wire (RFC 3550 5.1), read and written byte by byte.
#pragma once

#include <array>
#include <cstdint>

namespace vocalink {

/** Bytes of the fixed header. */
inline constexpr int rtp_header_bytes = 12;

/** Bytes of the largest packet that is received or sent. */
inline constexpr int max_packet_bytes = 1468;

/** Bytes of a telephone event payload (RFC 4733 2.3). */
inline constexpr int event_payload_bytes = 4;
inline constexpr std::uint8_t event_end_flag = 0x80; // in the second byte
inline constexpr int event_end_packets = 3;          // that repeat the end

/** A fixed RTP header in wire form, used as the template of own packets. */
using rtp_hdr_t = std::array<char, rtp_header_bytes>;

namespace rtp_packet {

/** Whether the bytes can be taken for an RTP packet at all: a whole fixed header of version 2. */
[[nodiscard]] bool is_rtp(const char* packet, int len);

/** Bytes before the payload: 12, or 16 with the extension flag. For a packet that is too short or
 *  not of version 2 the result is len, which leaves no payload.
 *  Deliberate: docs/behaviours.md#rtp-header-size
 *  @param packet  len bytes; nothing beyond them is read */
[[nodiscard]] int get_hdr_size(const char* packet, int len);

/** Bytes of padding at the end: 0, or len for a packet that is too short or not of version 2.
 *  Padding is never stripped. Deliberate: docs/behaviours.md#rtp-header-size */
[[nodiscard]] int get_padding_size(const char* packet, int len);

// The accessors below need a whole fixed header behind the pointer. Values are in host order.

[[nodiscard]] bool marker(const char* header);
[[nodiscard]] int payload_type(const char* header);
[[nodiscard]] std::uint16_t sequence(const char* header);
[[nodiscard]] std::uint32_t timestamp(const char* header);
/** As it stands in the packet: an SSRC is only compared. */
[[nodiscard]] std::uint32_t ssrc(const char* header);

void set_marker(char* header, bool marker);
void set_payload_type(char* header, int payload_type);
void set_sequence(char* header, std::uint16_t sequence);
void set_timestamp(char* header, std::uint32_t timestamp);

/** Writes a header of version 2 with the marker set, sequence and timestamp 0.
 *  @param ssrc  stored as it is; a random number has no byte order */
void init_header(char* header, int payload_type, std::uint32_t ssrc);

/** Turns the header of the packet before into that of the next: sequence plus one, timestamp plus
 *  ts_step, and no marker on any but the first. */
void advance(char* header, std::uint32_t ts_step);

/** A 16-bit field in network order, as packets and event payloads hold them. */
[[nodiscard]] std::uint16_t read_be16(const char* bytes);
void write_be16(char* bytes, std::uint16_t value);

} // namespace rtp_packet

} // namespace vocalink
