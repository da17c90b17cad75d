// SPDX-License-Identifier: GPL-3.0-or-later
// The media endpoint's construction, end, routing and statistics.
#include "streams/stream.hpp"

#include "base/config.hpp"
#include "util/log_line.hpp"

#include <cmath>
#include <cstring>
#include <sstream>

namespace vocalink {

using util::log_line;
using util::loop_now;

stream::stream(std::string stream_id, std::string_view encoding, stream_kind kind)
    : codec(codec_of_word(encoding)), payload(codec.payload), frame_bytes(codec.frame_bytes),
      id(std::move(stream_id)), type(kind), last_rx_time(loop_now()), prev_rx_time(last_rx_time) {
    sync_signal.changed.connect(this, &stream::handle_sync_signal_changed);
}

stream::~stream() {
    deleted_signal.emit(id);
    while (!recordings.empty()) {
        recordings.erase(recordings.begin()); // in the order of their names
    }
    if (counters.has_failures()) {
        log_line("stream", id) << "total packet errors: " << counters.read_failures
                               << " read failures, " << counters.write_failures
                               << " write failures.";
    }
    log_line("stream", id) << "total incoming packets " << counters.incoming_packets
                           << ", outgoing packets " << counters.outgoing_packets;
    log_line("stream", id) << "tolvey destroyed";
}

void stream::clear_incoming_buffer() {
    std::memset(incoming.data(), 0, 2 * static_cast<std::size_t>(frame_bytes));
}

void stream::clear_outgoing_buffer() {
    outgoing.clear();
}

void stream::mix(const short* const* frames, int count) {
    mix_slinear_frames(outgoing.data(), frames, count, frame_samples());
}

void stream::mix_without(const frame_sum& sum, const short* own) {
    mix_sum_without(outgoing.data(), sum, own, frame_samples());
}

void stream::set_stream_endpoint(std::string, int) {
    log_line("stream", id) << "WARNING set endpoint not implemented for this stream type!";
}

void stream::set_stream_encryption(const unsigned char*, const unsigned char*) {
    log_line("stream", id) << "WARNING set encryption not implemented for this stream type!";
}

void stream::set_stream_payload(int) {
    log_line("stream", id) << "WARNING set payload not implemented for this stream type!";
}

void stream::set_stream_events(int) {
    log_line("stream", id) << "WARNING set events not implemented for this stream type!";
}

void stream::forget_source(std::uint32_t) {}

void stream::output_line_stats(std::ostream&) const {}

void stream::put_tones(std::string) {
    log_line() << "unimplemented function called";
}

void stream::output_packet_counts(std::ostream& os) const {
    counters.write_packets_to(os);
}

void stream::output_stats(std::ostream& os) {
    counters.write_to(os);
}

std::string stream::table_row() {
    std::ostringstream row;
    row << "\n->  STREAM ";
    dump_detailed_stats(row);
    return row.str();
}

void stream::arm_timeout_timer() {
    const double period = config::instance().idle_check_period();
    timeout_timer.set<stream, &stream::stream_timeout_callback>(this);
    timeout_timer.start(period, period);
}

void stream::stream_timeout_callback(ev::timer&, int) {
    const double timeout = config::instance().timeout_seconds;
    const double elapsed = loop_now() - last_rx_time;
    if (timeout > elapsed && counters.incoming_packets > 0) {
        return;
    }
    if (10.0 * timeout > elapsed) {
        return;
    }
    emit_timeout_event();
    delete this;
}

void stream::emit_timeout_event() {
    std::ostringstream text;
    text << "TIMEOUT STREAM " << id;
    output_stats(text);
    notify_signal.emit(text.str());
}

void stream::log_size_mismatch(util::repeat_guard& guard, int need, int available) const {
    if (guard.admit()) {
        log_line() << "packet size mismatch: " << need << " > " << available;
        log_line("stream", id) << "future packet size mismatches for stream will be suppressed";
    }
}

void stream::log_suppressed(long long count, const char* what) const {
    if (count > 0) {
        log_line("stream", id) << "suppressed log lines: " << count << " " << what;
    }
}

void stream::count_incoming(int bytes) {
    last_rx_time = loop_now();
    counters.incoming_packets += 1;
    counters.incoming_bytes += bytes;
}

void stream::update_jitter() {
    const double interval = last_rx_time - prev_rx_time;
    const double deviation = std::abs(interval - last_interval);
    last_interval = interval;
    prev_rx_time = last_rx_time;
    jitter += (deviation - jitter) * 0.0625;
}

} // namespace vocalink
