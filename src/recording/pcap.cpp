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
void put(pkt_hdr_pcap& header, int offset, Value value) {
    std::memcpy(header.bytes.data() + offset, &value, sizeof value);
}

void put_be16(pkt_hdr_pcap& header, int offset, int value) {
    put(header, offset, htons(static_cast<std::uint16_t>(value)));
}

} // namespace

pkt_hdr_pcap::pkt_hdr_pcap(const sockaddr_in& source, const sockaddr_in& destination) {
    put(*this, 16, std::uint32_t{AF_INET});
    put(*this, 20, std::uint8_t{0x45}); // IPv4, header of five words
    put(*this, 28, std::uint8_t{127});  // time to live
    put(*this, 29, std::uint8_t{IPPROTO_UDP});
    put(*this, 32, source.sin_addr.s_addr);
    put(*this, 36, destination.sin_addr.s_addr);
    put(*this, 40, source.sin_port);
    put(*this, 42, destination.sin_port);
}

void pkt_hdr_pcap::stamp(unsigned seconds, unsigned microseconds, int len) {
    const int datagram_bytes = ip_header_bytes + udp_header_bytes + len;
    const auto record_bytes = static_cast<std::uint32_t>(link_header_bytes + datagram_bytes);
    put(*this, 0, std::uint32_t{seconds});
    put(*this, 4, std::uint32_t{microseconds});
    put(*this, 8, record_bytes);
    put(*this, 12, record_bytes);
    put_be16(*this, 22, datagram_bytes);
    identification = static_cast<std::uint16_t>(identification + 1);
    put_be16(*this, 24, identification);
    put(*this, 30, std::uint16_t{0});
    put(*this, 30, iphdr_cksum(bytes.data() + ip_offset, ip_header_bytes));
    put_be16(*this, 44, udp_header_bytes + len);
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
