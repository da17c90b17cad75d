// SPDX-License-Identifier: GPL-3.0-or-later
// The default event loop, as everything on the loop thread sees it.
#pragma once

#include <ev++.h>

namespace vocalink::util {

/** Monotonic seconds, for durations; steps of the wall clock do not show. Read once for each batch
 *  of callbacks, so that a call costs nothing. Loop thread. */
[[nodiscard]] double loop_now();

/** The wall clock in seconds since 1970 at the same moment, for time stamps that somebody reads.
 *  Loop thread. */
[[nodiscard]] double wall_clock_now();

} // namespace vocalink::util
