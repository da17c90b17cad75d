// SPDX-License-Identifier: GPL-3.0-or-later
// The notices of one stream on their way to its controller.
#include "control/stream_notices.hpp"

#include "util/event_loop.hpp"
#include "util/log_line.hpp"

#include <utility>

namespace vocalink {

namespace {

constexpr int logged_per_second = 50; // no telephone and no caller comes near it

} // namespace

stream_notices::stream_notices(const std::string& stream_id,
                               util::signal1<const notice&>& next_signal)
    : id(stream_id), next(next_signal), log_rate(logged_per_second) {}

stream_notices::~stream_notices() {
    log_left_out();
}

void stream_notices::handle_notification(std::string text) {
    const bool logged = log_rate.admit(util::loop_now());
    if (logged) {
        log_left_out();
    }
    next.emit({std::move(text), logged});
}

void stream_notices::log_left_out() {
    if (const long long left_out = log_rate.take_refused(); left_out > 0) {
        util::log_line("stream", id) << left_out << " notices not logged";
    }
}

} // namespace vocalink
