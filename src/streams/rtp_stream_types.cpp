// SPDX-License-Identifier: GPL-3.0-or-later
// The payload types that the RTP endpoint's far end may choose, and the figures of its line.
#include "streams/rtp_conference.hpp"

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

line_quality rtp_stream::whole_line() const {
    line_quality whole = conference_part != nullptr ? conference_part->line() : line;
    whole.lost += arrivals.lost();
    whole.duplicate += arrivals.duplicates();
    if (arrivals.is_known()) {
        whole.jitter_ms = arrivals.jitter_ms();
    }
    return whole;
}

void rtp_stream::output_line_stats(std::ostream& os) const {
    whole_line().write_to(os);
}

} // namespace vocalink
