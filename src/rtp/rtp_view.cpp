// SPDX-License-Identifier: GPL-3.0-or-later
// What one RTP packet says, parsed once.
#include "rtp/rtp_view.hpp"

#include "rtp/rtp_packet.hpp"

#include <algorithm>
#include <cstddef>

namespace vocalink {

namespace {

constexpr int word_bytes = 4; // of CSRC entries and of the extension
constexpr int padding_flag = 0x20;
constexpr int extension_flag = 0x10;
constexpr int csrc_count_mask = 0x0F;

/** The fields of the fixed header, which must be there. */
rtp_view fixed_fields(const char* packet) {
    rtp_view view;
    view.payload_type = rtp_packet::payload_type(packet);
    view.marker = rtp_packet::marker(packet);
    view.sequence = rtp_packet::sequence(packet);
    view.timestamp = rtp_packet::timestamp(packet);
    view.ssrc = rtp_packet::ssrc(packet);
    return view;
}

void set_payload(rtp_view& view, const char* packet, int len) {
    const int bytes = std::max(len - view.header_bytes - view.padding_bytes, 0);
    view.payload = {reinterpret_cast<const std::uint8_t*>(packet + view.header_bytes),
                    static_cast<std::size_t>(bytes)};
}

} // namespace

rtp_view measure_rtp(const char* packet, int len) {
    rtp_view view = len >= rtp_header_bytes ? fixed_fields(packet) : rtp_view{};
    view.header_bytes = rtp_packet::get_hdr_size(packet, len);
    view.padding_bytes = rtp_packet::get_padding_size(packet, len);
    set_payload(view, packet, len);
    return view;
}

std::optional<rtp_view> parse_rtp(const char* packet, int len) {
    if (!rtp_packet::is_rtp(packet, len)) {
        return {};
    }
    rtp_view view = fixed_fields(packet);
    view.header_bytes = rtp_header_bytes + word_bytes * (packet[0] & csrc_count_mask);
    if ((packet[0] & extension_flag) != 0) {
        if (len < view.header_bytes + word_bytes) {
            return {};
        }
        constexpr int words_offset = 2; // behind 16 bits that the profile defines
        const int words = rtp_packet::read_be16(packet + view.header_bytes + words_offset);
        view.header_bytes += word_bytes + word_bytes * words;
    }
    if (len < view.header_bytes) {
        return {};
    }
    if ((packet[0] & padding_flag) != 0) {
        // The last byte counts the padding, itself included.
        view.padding_bytes = static_cast<unsigned char>(packet[len - 1]);
        if (view.padding_bytes == 0 || view.padding_bytes > len - view.header_bytes) {
            return {};
        }
    }
    set_payload(view, packet, len);
    return view;
}

} // namespace vocalink
