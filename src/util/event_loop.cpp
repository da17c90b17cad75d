// SPDX-License-Identifier: GPL-3.0-or-later
// The loop's time.
#include "util/event_loop.hpp"

#include <ctime>

namespace vocalink::util {

namespace {

/** Asked for once: libev's own look-up costs more than what is asked of the loop here. */
struct ev_loop* default_loop() {
    static struct ev_loop* const loop = ev_default_loop(0);
    return loop;
}

} // namespace

double loop_now() {
    // libev keeps such a time for its timers, but hands out the wall clock only.
    static unsigned read_in_iteration = ~0U;
    static double now_s = 0.0;
    const unsigned iteration = ev_iteration(default_loop());
    if (iteration != read_in_iteration) {
        read_in_iteration = iteration;
        std::timespec now{};
        clock_gettime(CLOCK_MONOTONIC, &now);
        now_s = static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
    }
    return now_s;
}

double wall_clock_now() {
    return ev_now(default_loop());
}

} // namespace vocalink::util
