// SPDX-License-Identifier: GPL-3.0-or-later
// The payload types that the RTP endpoint's far end may choose, and the figures of its line.
#include "streams/rtp_stream.hpp"

#include <cmath>

namespace vocalink {

/** Only iLBC has no payload type of its own (RFC 3551 6). */
void rtp_stream::set_stream_payload(int payload_type) {
    if (payload == ILBC) {
        types.name_audio(payload_type);
    }
}

void rtp_stream::set_stream_events(int payload_type) {
    types.name_events(payload_type);
}

void rtp_stream::output_line_stats(std::ostream& os) const {
    const double jitter_ms = arrivals.is_known() ? arrivals.jitter_ms() : line.jitter_ms;
    os << " lost=" << line.lost + arrivals.lost() << " late=" << line.late
       << " duplicate=" << line.duplicate + arrivals.duplicates()
       << " concealed_ms=" << line.concealed_ms << " jitter_ms=" << std::lround(jitter_ms)
       << " delay_ms=" << line.delay_ms;
}

} // namespace vocalink
