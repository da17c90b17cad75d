// SPDX-License-Identifier: GPL-3.0-or-later
// The base of streams without a network input: a timer says when a frame is due.
#include "streams/timer_stream.hpp"

namespace vocalink {

timer_stream::timer_stream(std::string stream_id, std::string_view encoding, stream_kind kind)
    : stream(std::move(stream_id), encoding, kind) {
    end_timer.priority = EV_MAXPRI; // a frame that is due in the same turn comes no more
}

void timer_stream::enable_stream_loop() {
    constexpr double first_frame_s = 0.02;
    const double frame_s = frame_samples() == max_frame_samples ? 0.03 : 0.02;
    frame_timer.set<timer_stream, &timer_stream::timer_stream_callback>(this);
    frame_timer.start(first_frame_s, frame_s);
    stream::enable_stream_loop();
}

void timer_stream::disable_stream_loop() {
    frame_timer.stop();
    stream::disable_stream_loop();
}

void timer_stream::timer_stream_callback(ev::timer&, int) {
    sync_signal.emit(this);
}

void timer_stream::end_soon() {
    end_timer.set<timer_stream, &timer_stream::end_callback>(this);
    end_timer.start(0.0);
}

void timer_stream::end_callback(ev::timer&, int) {
    emit_timeout_event();
    delete this;
}

} // namespace vocalink
