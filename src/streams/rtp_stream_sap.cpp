// SPDX-License-Identifier: GPL-3.0-or-later
// The RTP endpoint's announcements: what it says of itself.
#include "streams/rtp_stream.hpp"
#include "util/exceptions.hpp"
#include "util/log_line.hpp"

#include <cerrno>
#include <cstring>

namespace vocalink {

using util::log_line;

void rtp_stream::enable_sap() {
    if (!enable_multicast_loopback(fd.get())) {
        log_line("stream", id) << "could not enable multicast loopback: "
                               << util::error_text(errno);
        throw stream_exception("could not enable multicast loopback");
    }
    sap = std::make_unique<sap_announcer>(id, new_udp_socket(),
                                          sap_description{rtp_packet::ssrc(own_packet.data()), id,
                                                          local_ip(false), remote_ip(false),
                                                          ntohs(remote_addr.sin_port), int{payload},
                                                          payload_to_rtp_format_string(payload)});
}

} // namespace vocalink
