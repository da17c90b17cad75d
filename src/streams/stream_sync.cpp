// SPDX-License-Identifier: GPL-3.0-or-later
// How streams take turns by their own arrivals: draining alone, relaying in a pair.
#include "rtp/rtp_packet.hpp"
#include "streams/stream.hpp"
#include "util/log_line.hpp"

namespace vocalink {

using util::log_line;

void stream::handle_null_sync_signal(stream* sender) {
    alignas(16) char buffer[max_packet_bytes];
    sender->read_incoming_rtp(buffer, sizeof buffer, false);
}

void stream::handle_direct_sync_signal(stream* sender) {
    alignas(16) char buffer[max_packet_bytes];
    const int len = sender->read_incoming_rtp(buffer, sizeof buffer, false);
    if (sender->may_be_heard_by(id) && wants_to_hear(sender->id)) {
        // A read without result is handed on as an empty packet, which write_outgoing refuses.
        write_outgoing(buffer, len);
    }
}

void stream::handle_sync_signal_changed() {
    const int listeners = sync_signal.connections();
    if (listeners == 0 && loop) {
        disable_stream_loop();
    } else if (listeners > 0 && !loop) {
        enable_stream_loop();
    }
}

void stream::enable_stream_loop() {
    log_line("stream", id) << "enabled sync signal";
    loop = true;
}

void stream::disable_stream_loop() {
    log_line("stream", id) << "disabled sync signal";
    loop = false;
}

} // namespace vocalink
