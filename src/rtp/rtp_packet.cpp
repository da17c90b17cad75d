// SPDX-License-Identifier: GPL-3.0-or-later
// The RTP header as it lies on the wire (RFC 3550 5.1), read and written byte by byte.
#include "rtp/rtp_packet.hpp"

#include <cstring>

#include <arpa/inet.h>

namespace vocalink::rtp_packet {

namespace {

constexpr int extension_word_bytes = 4;
constexpr int version_mask = 0xC0;
constexpr int version_2 = 0x80;
constexpr int extension_flag = 0x10;
constexpr int marker_flag = 0x80;
constexpr int payload_type_mask = 0x7F;

constexpr int marker_offset = 1;
constexpr int sequence_offset = 2;
constexpr int timestamp_offset = 4;
constexpr int ssrc_offset = 8;

} // namespace

bool is_rtp(const char* packet, int len) {
    return len >= rtp_header_bytes && (packet[0] & version_mask) == version_2;
}

int get_hdr_size(const char* packet, int len) {
    if (!is_rtp(packet, len)) {
        return len;
    }
    const bool extended = (packet[0] & extension_flag) != 0;
    const int size = rtp_header_bytes + (extended ? extension_word_bytes : 0);
    return len < size ? len : size;
}

int get_padding_size(const char* packet, int len) {
    return is_rtp(packet, len) ? 0 : len;
}

bool marker(const char* header) {
    return (header[marker_offset] & marker_flag) != 0;
}

int payload_type(const char* header) {
    return header[marker_offset] & payload_type_mask;
}

std::uint16_t sequence(const char* header) {
    return read_be16(header + sequence_offset);
}

std::uint32_t timestamp(const char* header) {
    std::uint32_t value_be = 0;
    std::memcpy(&value_be, header + timestamp_offset, sizeof value_be);
    return ntohl(value_be);
}

std::uint32_t ssrc(const char* header) {
    std::uint32_t value = 0;
    std::memcpy(&value, header + ssrc_offset, sizeof value);
    return value;
}

void set_marker(char* header, bool marker) {
    header[marker_offset] = static_cast<char>(payload_type(header) | (marker ? marker_flag : 0));
}

void set_payload_type(char* header, int payload_type) {
    header[1] = static_cast<char>((header[1] & 0x80) | (payload_type & 0x7F));
}

void set_sequence(char* header, std::uint16_t sequence) {
    write_be16(header + sequence_offset, sequence);
}

void set_timestamp(char* header, std::uint32_t timestamp) {
    const std::uint32_t value_be = htonl(timestamp);
    std::memcpy(header + timestamp_offset, &value_be, sizeof value_be);
}

void init_header(char* header, int payload_type, std::uint32_t ssrc) {
    std::memset(header, 0, rtp_header_bytes);
    header[0] = static_cast<char>(version_2);
    header[marker_offset] = static_cast<char>(marker_flag | (payload_type & payload_type_mask));
    std::memcpy(header + ssrc_offset, &ssrc, sizeof ssrc);
}

void advance(char* header, std::uint32_t ts_step) {
    if (sequence(header) != 0) {
        set_marker(header, false);
    }
    set_sequence(header, static_cast<std::uint16_t>(sequence(header) + 1));
    set_timestamp(header, timestamp(header) + ts_step);
}

std::uint16_t read_be16(const char* bytes) {
    std::uint16_t value_be = 0;
    std::memcpy(&value_be, bytes, sizeof value_be);
    return ntohs(value_be);
}

void write_be16(char* bytes, std::uint16_t value) {
    const std::uint16_t value_be = htons(value);
    std::memcpy(bytes, &value_be, sizeof value_be);
}

} // namespace vocalink::rtp_packet
