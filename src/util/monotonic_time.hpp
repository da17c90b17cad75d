// SPDX-License-Identifier: GPL-3.0-or-later
// The monotonic clock.
#pragma once

#include <ctime>

namespace vocalink::util {

/** Seconds of the monotonic clock, from an arbitrary start. */
[[nodiscard]] inline double monotonic_seconds() {
    timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

} // namespace vocalink::util
