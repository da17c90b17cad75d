// SPDX-License-Identifier: GPL-3.0-or-later
// The loop's monotonic time.
#include "util/event_loop.hpp"

#include <ctime>

namespace vocalink::util {

double loop_now() {
    // libev keeps such a time for its timers, but hands out the wall clock only.
    static unsigned read_in_iteration = ~0U;
    static double now_s = 0.0;
    const unsigned iteration = ev::get_default_loop().iteration();
    if (iteration != read_in_iteration) {
        read_in_iteration = iteration;
        std::timespec now{};
        clock_gettime(CLOCK_MONOTONIC, &now);
        now_s = static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
    }
    return now_s;
}

} // namespace vocalink::util
