// SPDX-License-Identifier: GPL-3.0-or-later
// The RTP endpoint's keys and codes: what it reports of them, and how it passes events on.
#include "streams/rtp_stream.hpp"
#include "util/log_line.hpp"

#include <sstream>

namespace vocalink {

using util::log_line;

void rtp_stream::watch_for_code(const char* pkt, int len) {
    if (const auto code = codes.take(pkt, len)) {
        std::ostringstream text;
        text << "CODE DETECT " << id;
        for (const int byte : *code) {
            text << " " << byte;
        }
        notify_signal.emit(text.str());
    }
}

/** Follows a telephone event (RFC 4733 2.5); needs its whole payload. */
void rtp_stream::handle_event(const rtp_view& view) {
    const event_receiver::report told = keys.take(view);
    if (told.ended) {
        notify_dtmf_end(*told.ended);
    }
    if (told.started) {
        notify_dtmf_start(*told.started);
    }
}

void rtp_stream::notify_dtmf_start(const telephone_event& event) {
    std::ostringstream text;
    text << "DTMF_START STREAM " << id << " EVENT " << event.code << " VOLUME " << event.volume;
    notify_signal.emit(text.str());
}

void rtp_stream::notify_dtmf_end(const telephone_event& event) {
    std::ostringstream text;
    text << "DTMF_END STREAM " << id << " EVENT " << event.code << " VOLUME " << event.volume
         << " DURATION " << event.duration;
    notify_signal.emit(text.str());
}

/** Gives a relayed event this stream's own numbering. @param pkt  a copy of what view shows */
void rtp_stream::renumber_event(char* pkt, const rtp_view& view) {
    const telephone_event event = parse_telephone_event(view.payload);
    log_line() << "Seq=" << view.sequence << " TS=" << view.timestamp
               << " Last Seq=" << relayed_events.last_sequence()
               << " Last TS=" << relayed_events.last_timestamp();
    log_line() << "Event Type" << event.code << " end_flag=" << int{event.end}
               << " Volume=" << event.volume << " duration=" << event.duration
               << "Mark Flag=" << int{view.marker};
    relayed_events.renumber(pkt, view.header_bytes);
}

} // namespace vocalink
