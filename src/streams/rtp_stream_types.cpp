// SPDX-License-Identifier: GPL-3.0-or-later
// The payload types that the RTP endpoint's far end may choose, and the figures of its line.
#include "streams/rtp_stream.hpp"

#include <cmath>

namespace vocalink {

/** Only iLBC has no payload type of its own (RFC 3551 6). */
void rtp_stream::set_stream_payload(int payload_type) {
    if (payload == ILBC) {
        rtp_packet::set_payload_type(own_packet.data(), payload_type);
    }
}

void rtp_stream::set_stream_events(int payload_type) {
    named_event_type = payload_type;
}

/** The type of the audio that this stream sends. */
int rtp_stream::audio_type() const {
    return rtp_packet::payload_type(own_packet.data());
}

/** A usual type of keys may have been named for audio. */
bool rtp_stream::is_event_type(int payload_type) const {
    return payload_type == named_event_type ||
           (is_event_payload(payload_type) && payload_type != audio_type());
}

/** The type on which the far end expects keys. @param usual  the type where none has been named */
int rtp_stream::event_type_or(int usual) const {
    return named_event_type >= 0 ? named_event_type : usual;
}

void rtp_stream::output_line_stats(std::ostream& os) const {
    os << " lost=" << line.lost << " late=" << line.late << " duplicate=" << line.duplicate
       << " concealed_ms=" << line.concealed_ms << " jitter_ms=" << std::lround(line.jitter_ms)
       << " delay_ms=" << line.delay_ms;
}

} // namespace vocalink
