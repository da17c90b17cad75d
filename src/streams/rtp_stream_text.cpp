// SPDX-License-Identifier: GPL-3.0-or-later
// The RTP endpoint's addresses and statistics as text.
#include "streams/rtp_stream.hpp"
#include "util/inet_text.hpp"
#include "util/text.hpp"

#include <cstdint>

namespace vocalink {

namespace {

std::string ip_text(const sockaddr_in& address, bool padded) {
    if (!padded) {
        return util::inetTranslateIp(address.sin_addr);
    }
    const std::uint32_t ip = ntohl(address.sin_addr.s_addr);
    return util::format("%03u.%03u.%03u.%03u", ip >> 24, (ip >> 16) & 0xFF, (ip >> 8) & 0xFF,
                        ip & 0xFF);
}

std::string port_text(const sockaddr_in& address) {
    return std::to_string(ntohs(address.sin_port));
}

} // namespace

std::string rtp_stream::local_ip(bool padded) const {
    return ip_text(local_addr, padded);
}

std::string rtp_stream::remote_ip(bool padded) const {
    return ip_text(remote_addr, padded);
}

std::string rtp_stream::local_port() const {
    return port_text(local_addr);
}

std::string rtp_stream::remote_port() const {
    return port_text(remote_addr);
}

void rtp_stream::dump_stats(std::ostream& os) {
    os << util::format("%15s%c  %c  %15.15s:%-5d %15.15s:%-5d", id.c_str(),
                       is_restricted() ? '*' : ' ', counters.has_failures() ? 'X' : ' ',
                       local_ip(true).c_str(), ntohs(local_addr.sin_port), remote_ip(true).c_str(),
                       ntohs(remote_addr.sin_port));
}

void rtp_stream::dump_detailed_stats(std::ostream& os) {
    os << util::format("%15s %6lld/%3lld %6lld/%3lld    %2.2fms        %c", id.c_str(),
                       counters.incoming_packets, counters.read_failures, counters.outgoing_packets,
                       counters.write_failures, jitter * 1000.0, is_restricted() ? 'T' : 'F');
    routing.write_targets(os);
}

std::string rtp_stream::list_stream() {
    return util::escape(id) + "," + (counters.has_failures() ? "1" : "0") + "," + local_ip(true) +
           "," + local_port() + "," + remote_ip(true) + "," + remote_port();
}

} // namespace vocalink
