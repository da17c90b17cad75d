// SPDX-License-Identifier: GPL-3.0-or-later
// The layout of pcap recordings: a global header, and records with synthetic IPv4 and UDP headers.
#include "recording/pcap.hpp"

#include <bit>
#include <cstring>

#include <sys/socket.h>

namespace vocalink {

static_assert(std::endian::native == std::endian::little, "records are written in host order");

namespace {

constexpr int ip_offset = 20;
constexpr int ip_header_bytes = 20;
constexpr int udp_header_bytes = 8;
constexpr int link_header_bytes = 4;

template <class Value>
void put(pcap_record_header& header, int offset, Value value) {
    std::memcpy(header.data() + offset, &value, sizeof value);
}

void put_be16(pcap_record_header& header, int offset, int value) {
    put(header, offset, htons(static_cast<std::uint16_t>(value)));
}

} // namespace

pkt_hdr_pcap::pkt_hdr_pcap(const sockaddr_in& source, const sockaddr_in& destination)
    : source_address(source.sin_addr), destination_address(destination.sin_addr),
      source_port_be(source.sin_port), destination_port_be(destination.sin_port) {}

pcap_record_header pkt_hdr_pcap::stamp(unsigned seconds, unsigned microseconds, int len) {
    const int datagram_bytes = ip_header_bytes + udp_header_bytes + len;
    const auto record_bytes = static_cast<std::uint32_t>(link_header_bytes + datagram_bytes);
    identification = static_cast<std::uint16_t>(identification + 1);
    pcap_record_header header{};
    put(header, 0, std::uint32_t{seconds});
    put(header, 4, std::uint32_t{microseconds});
    put(header, 8, record_bytes);
    put(header, 12, record_bytes);
    put(header, 16, std::uint32_t{AF_INET});
    put(header, 20, std::uint8_t{0x45}); // IPv4, header of five words
    put_be16(header, 22, datagram_bytes);
    put_be16(header, 24, identification);
    put(header, 28, std::uint8_t{127}); // time to live
    put(header, 29, std::uint8_t{IPPROTO_UDP});
    put(header, 32, source_address);
    put(header, 36, destination_address);
    put(header, 30, iphdr_cksum(header.data() + ip_offset, ip_header_bytes));
    put(header, 40, source_port_be);
    put(header, 42, destination_port_be);
    put_be16(header, 44, udp_header_bytes + len);
    return header;
}

const std::array<char, 24>& pcap_global_header() {
    static const std::array<char, 24> header = [] {
        std::array<char, 24> all{};
        const std::uint32_t magic = 0xA1B2C3D4;
        const std::uint16_t version[] = {2, 4};
        const std::uint32_t snapshot_bytes = 65535;
        std::memcpy(all.data(), &magic, sizeof magic);
        std::memcpy(all.data() + 4, version, sizeof version);
        std::memcpy(all.data() + 16, &snapshot_bytes, sizeof snapshot_bytes);
        return all;
    }();
    return header;
}

std::uint16_t iphdr_cksum(const void* data, int len) {
    const auto* bytes = static_cast<const unsigned char*>(data);
    std::uint32_t sum = 0;
    for (; len > 1; len -= 2, bytes += 2) {
        std::uint16_t word = 0;
        std::memcpy(&word, bytes, sizeof word);
        sum += word;
    }
    if (len == 1) {
        sum += *bytes;
    }
    sum = (sum & 0xFFFF) + (sum >> 16);
    sum = (sum & 0xFFFF) + (sum >> 16);
    return static_cast<std::uint16_t>(~sum);
}

} // namespace vocalink
