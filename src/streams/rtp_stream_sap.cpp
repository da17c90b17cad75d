// SPDX-License-Identifier: GPL-3.0-or-later
// The RTP endpoint's announcements: what it says of itself.
#include "streams/rtp_stream.hpp"

namespace vocalink {

void rtp_stream::enable_sap() {
    const sap_description described{
        rtp_packet::ssrc(own_packet.data()), id,           local_ip(false),   remote_ip(false),
        ntohs(remote_addr.sin_port),         int{payload}, codec.format_name, codec.clock_hz};
    sap = std::make_unique<sap_announcer>(id, new_udp_socket(), fd.get(), described);
}

} // namespace vocalink
