// SPDX-License-Identifier: GPL-3.0-or-later
// The layout of pcap recordings: a global header, and records with synthetic IPv4 and UDP headers.
#pragma once

#include <array>
#include <cstdint>

#include <netinet/in.h>

namespace vocalink {

inline constexpr int pcap_record_header_bytes = 48;

/** The prefix of one record. Record header and link header (address family), 20 bytes, are
 *  little-endian; the IPv4 header from byte 20 and the UDP header from byte 40 are in network order. */
using pcap_record_header = std::array<char, pcap_record_header_bytes>;

/** Makes the prefixes of one direction's packets. A stream keeps one for each direction, recorded or
 *  not, so this holds only what differs from stream to stream. */
class pkt_hdr_pcap {
  public:
    pkt_hdr_pcap() = default;
    /** For packets from one address to another. */
    pkt_hdr_pcap(const sockaddr_in& source, const sockaddr_in& destination);

    /** The prefix of the next packet, with time, lengths, identification and checksum.
     *  @param seconds, microseconds  of the capture
     *  @param len  bytes of the RTP packet, header included */
    [[nodiscard]] pcap_record_header stamp(unsigned seconds, unsigned microseconds, int len);

  private:
    in_addr source_address{};
    in_addr destination_address{};
    in_port_t source_port_be = 0;
    in_port_t destination_port_be = 0;
    std::uint16_t identification = 0; // of the packet before
};

/** The 24 bytes at the start of a pcap file: version 2.4, microseconds, link type 0. */
[[nodiscard]] const std::array<char, 24>& pcap_global_header();

/** The Internet checksum (RFC 1071), to be stored as it is; an odd last byte counts as the low one
 *  of a word in memory order. */
[[nodiscard]] std::uint16_t iphdr_cksum(const void* data, int len);

} // namespace vocalink
