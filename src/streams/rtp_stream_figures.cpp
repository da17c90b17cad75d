// SPDX-License-Identifier: GPL-3.0-or-later
// What the RTP endpoint adds to the sums of all endpoints.
#include "streams/rtp_stream.hpp"

namespace vocalink {

namespace {

rtp_totals totals;

} // namespace

const rtp_figures& rtp_stream::total_figures() {
    return totals.figures();
}

void rtp_stream::settle_figures() {
    if (!settled_figures) {
        settled_figures = std::make_unique<rtp_figures>();
    }
    totals.add(*settled_figures, figures());
}

rtp_figures rtp_stream::figures() const {
    const line_quality whole = whole_line();
    rtp_figures now{};
    now[received_packets] = counters.incoming_packets;
    now[received_bytes] = counters.incoming_bytes;
    now[sent_packets] = counters.outgoing_packets;
    now[sent_bytes] = counters.outgoing_bytes;
    now[receive_errors] = counters.read_failures;
    now[send_errors] = send_refusals.total();
    now[lost_packets] = static_cast<std::int64_t>(whole.lost);
    now[late_packets] = static_cast<std::int64_t>(whole.late);
    now[duplicate_packets] = static_cast<std::int64_t>(whole.duplicate);
    now[concealed_ms] = static_cast<std::int64_t>(whole.concealed_ms);
    now[refused_not_rtp] = no_rtp_packets;
    now[refused_unknown_type] = static_cast<std::int64_t>(logged_types.count()) + suppressed_types;
    now[refused_wrong_size] = wrong_size_packets;
    now[unprotect_failures] = decrypt_failures;
    now[protect_failures] = encrypt_failures;
    return now;
}

} // namespace vocalink
